"""Reads a typed stream and prints it as JSON. Usage: read_typed_stream.py <file>

It knows the format but none of the classes: every object is {"class": [name, version, superclass name, ...], "values": [[type, value], ...]}.
Bytes are printed as hexadecimal digits unless they are UTF-8 text behind "+". An object that is referred to again is printed again.
"""

import json
import re
import struct
import sys


class Stream:
    def __init__(self, data):
        self.data = data
        self.position = 0
        self.texts = []
        self.numbered = []

    def raw(self, size):
        piece = self.data[self.position : self.position + size]
        assert len(piece) == size, "end of data"
        self.position += size
        return piece

    def head(self):
        return struct.unpack("<b", self.raw(1))[0]

    def number(self, head, signed=True):
        wide = {-127: 2, -126: 4, -121: 8}
        if head in wide:
            return int.from_bytes(self.raw(wide[head]), "little", signed=signed)
        assert not -128 <= head <= -111, f"tag {head} instead of a number"
        return head if signed else head & 0xFF

    def plain_text(self):
        return self.raw(self.number(self.head(), signed=False))

    def shared_text(self, head=None):
        head = self.head() if head is None else head
        if head == -124:
            self.texts.append(self.plain_text())
            return self.texts[-1]
        return self.texts[self.back(head)]

    def back(self, head):
        index = self.number(head) + 110
        assert index >= 0, "reference before the first"
        return index

    def classes(self):
        first = None
        chain = None
        while True:
            head = self.head()
            if head == -124:
                slot = len(self.numbered)
                self.numbered.append(None)
                link = [self.shared_text().decode(), self.number(self.head()), None]
                self.numbered[slot] = link
            elif head == -123:
                link = None
            else:
                link = self.numbered[self.back(head)]
                assert isinstance(link, list), "reference to something else than a class"
            if chain is None:
                first = link
            else:
                chain[2] = link
            if head != -124:
                break
            chain = link
        flat = []
        while first is not None:
            flat += first[:2]
            first = first[2]
        return flat

    def thing(self):
        head = self.head()
        if head == -123:
            return None
        if head != -124:
            found = self.numbered[self.back(head)]
            assert isinstance(found, dict), "reference to something else than an object"
            return found
        made = {}
        self.numbered.append(made)
        made["class"] = self.classes()
        made["values"] = []
        while True:
            head = self.head()
            if head == -122:
                return made
            made["values"] += self.group(head)

    def c_string(self):
        head = self.head()
        if head == -123:
            return None
        if head == -124:
            slot = len(self.numbered)
            self.numbered.append(None)
            self.numbered[slot] = self.shared_text()
            return self.numbered[slot].decode()
        found = self.numbered[self.back(head)]
        assert isinstance(found, bytes), "reference to something else than a C string"
        return found.decode()

    def value(self, code):
        if code in "cCB":
            byte = self.raw(1)[0]
            return byte - 256 if code == "c" and byte > 127 else byte
        if code in "silq":
            return self.number(self.head())
        if code in "SILQ":
            return self.number(self.head(), signed=False)
        if code in "fd":
            head = self.head()
            if head == -125:
                return struct.unpack("<" + code, self.raw(4 if code == "f" else 8))[0]
            return float(self.number(head))
        if code == "+":
            return self.plain_text().decode("utf-8")
        if code == "*":
            return self.c_string()
        if code == "@":
            return self.thing()
        size = re.fullmatch(r"\[(\d+)[cC]\]", code)
        assert size, f"unknown type {code}"
        return self.raw(int(size.group(1))).hex()

    def group(self, head):
        types = self.shared_text(head).decode()
        codes = re.findall(r"\[[^\]]*\]|.", types)
        return [[code, self.value(code)] for code in codes]


def read(path):
    """The whole stream, as main() prints it."""
    with open(path, "rb") as file:
        stream = Stream(file.read())
    version = stream.number(stream.head())
    signature = stream.plain_text().decode()
    system = stream.number(stream.head())
    root = stream.group(stream.head())
    assert stream.position == len(stream.data), "more data than one group"
    return {"version": version, "signature": signature, "system": system, "root": root}


if __name__ == "__main__":
    json.dump(read(sys.argv[1]), sys.stdout, sort_keys=True)
