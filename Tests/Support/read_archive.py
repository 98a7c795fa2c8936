"""Prints the inventory of a Web archive as plistlib reads it. Usage: read_archive.py <file>; see ArchiveInspector.h."""

import plistlib
import sys
import zlib


def line(kind, resource):
    data = resource["WebResourceData"]
    return "|".join(
        [
            kind,
            resource["WebResourceURL"],
            resource["WebResourceMIMEType"],
            resource.get("WebResourceTextEncodingName", "-"),
            resource.get("WebResourceFrameName", "-"),
            f"{len(data)} {zlib.crc32(data):08x}",
        ]
    )


def lines(archive):
    yield line("page", archive["WebMainResource"])
    for resource in archive.get("WebSubresources", []):
        yield line("resource", resource)
    for frame in archive.get("WebSubframeArchives", []):
        yield from lines(frame)


sys.setrecursionlimit(100_000)
with open(sys.argv[1], "rb") as file:
    archive = plistlib.load(file)
sys.stdout.buffer.write("".join(text + "\n" for text in lines(archive)).encode("utf-8", "surrogatepass"))
