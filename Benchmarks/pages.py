"""Writes the pages that Scripts/bench captures. Usage: pages.py <folder> [page...]

The same bytes on every machine and in every run; nothing of it is kept in the repository because it is 105 MB.
"""

import pathlib
import random
import struct
import sys
import zlib

WORDS = "the of and a to in page archive engine frame light window harbour letter paper river stone morning".split()


def png(width, height, seed, packing=9):
    """Noise, which does not pack: about three bytes for each pixel. Stripes for small ones, packed well."""
    generator = random.Random(seed)
    if packing:
        colours = [generator.randbytes(3) for _ in range(4)]
        rows = b"".join(b"\0" + colours[y // 4 % 4] * width for y in range(height))
    else:
        rows = b"".join(b"\0" + generator.randbytes(3 * width) for y in range(height))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows, packing)) + chunk(b"IEND", b"")


def sentence(generator):
    return " ".join(generator.choice(WORDS) for _ in range(generator.randint(8, 20))).capitalize() + ". "


def document(title, head, body):
    return f'<!DOCTYPE html>\n<html lang="en"><head><meta charset="utf-8"><title>{title}</title>{head}</head>\n<body>{body}</body></html>\n'


class Page:
    def __init__(self, folder, name):
        self.folder = folder / name
        self.folder.mkdir(parents=True, exist_ok=True)

    def add(self, name, content):
        (self.folder / name).write_bytes(content if isinstance(content, bytes) else content.encode())
        return name


def small(folder):
    page = Page(folder, "small")
    page.add("style.css", "body { font-family: sans-serif; margin: 2em }")
    page.add("picture.png", png(64, 64, 1))
    page.add("frame.html", document("A frame", "", "<p>A page in the page.</p>"))
    body = '<h1>A small page</h1><p><img src="picture.png">Some text.</p><iframe src="frame.html"></iframe>'
    page.add("index.html", document("A small page", '<link rel="stylesheet" href="style.css">', body))


def article(folder):
    page = Page(folder, "article")
    generator = random.Random(2)
    page.add("style.css", "body { font-family: serif; max-width: 40em; margin: auto } img { float: right } h2 { border-bottom: 1px solid }")
    parts = []
    size = 0
    number = 0
    while size < 290_000:
        text = "".join(sentence(generator) for _ in range(6))
        part = f'<p>{text}<a href="#s{number}">{sentence(generator)}</a></p>\n'
        if number % 8 == 0:
            part = f'<h2 id="s{number}">{sentence(generator)}</h2>\n' + part
        parts.append(part)
        size += len(part)
        number += 1
    for index in range(25):
        name = page.add(f"image{index}.png", png(200, 150, 100 + index))
        parts.insert(index * len(parts) // 25, f'<img src="{name}" width="200" height="150">')
    page.add("index.html", document("A long article", '<link rel="stylesheet" href="style.css">', "".join(parts)))


def mixed(folder):
    page = Page(folder, "mixed")
    head = []
    body = []
    for index in range(40):
        name = page.add(f"style{index}.css", f".c{index} {{ color: #{index * 5:02x}4080; margin: {index}px }}\n" * 20)
        head.append(f'<link rel="stylesheet" href="{name}">')
    for index in range(300):
        name = page.add(f"image{index}.png", png(32, 32, 1000 + index))
        body.append(f'<img class="c{index % 40}" src="{name}">')
    for index in range(5):
        name = page.add(f"frame{index}.html", document(f"Frame {index}", "", f"<p>Frame {index}</p><img src=image{index}.png>"))
        body.append(f'<iframe src="{name}"></iframe>')
    for index in range(40):
        name = page.add(f"script{index}.js", f"window.value{index} = [...Array(1000).keys()].reduce((a, b) => a + b, {index});\n")
        body.append(f'<script src="{name}"></script>')
    page.add("index.html", document("A page of many parts", "".join(head), "\n".join(body)))


def thousand(folder):
    page = Page(folder, "thousand")
    body = []
    for index in range(1000):
        name = page.add(f"image{index}.png", png(16, 16, 2000 + index))
        body.append(f'<img src="{name}">')
    page.add("index.html", document("A thousand resources", "", "\n".join(body)))


def tall(folder):
    page = Page(folder, "tall")
    generator = random.Random(5)
    rows = "".join(f"<tr><td>{index}<td>{sentence(generator)}" for index in range(2000))
    page.add("index.html", document("A tall page", "<style>td { border: 1px solid #ccc; padding: 4px }</style>", f"<table>{rows}</table>"))


def heavy(folder):
    page = Page(folder, "heavy")
    body = []
    for index in range(50):
        # 836 x 836 pixels of three bytes are 2 MiB.
        name = page.add(f"image{index}.png", png(836, 836, 4000 + index, packing=0))
        body.append(f'<img src="{name}" width="100" height="100">')
    page.add("index.html", document("A hundred megabytes", "", "\n".join(body)))


def main():
    folder = pathlib.Path(sys.argv[1])
    for page in (small, article, mixed, thousand, tall, heavy):
        if page.__name__ in sys.argv[2:] or not sys.argv[2:]:
            page(folder)


main()
