"""Reads an archived error ("streamtyped", version 4) and prints it as a property list. Usage: read_error.py <file>

Written from the format alone, so that it shares nothing with the writer that the tests check.
"""

import plistlib
import sys

SHORT, LONG, NEW, NIL, END = 0x81, 0x82, 0x84, 0x85, 0x86
FIRST_REFERENCE = 0x92 - 256


class Reader:
    def __init__(self, data):
        self.data = data
        self.at = 0
        self.strings = []  # shared strings: type codes and class names
        self.objects = []  # objects, classes and C strings, in the order in which they began

    def byte(self):
        value = self.data[self.at]
        self.at += 1
        return value

    def take(self, count):
        if self.at + count > len(self.data):
            raise ValueError("the archive ends too early")
        part = self.data[self.at : self.at + count]
        self.at += count
        return part

    def integer(self, head=None):
        """One byte when it fits, otherwise a mark and the bytes of the number, least significant first."""
        head = self.byte() if head is None else head
        if head == SHORT:
            return int.from_bytes(self.take(2), "little", signed=True)
        if head == LONG:
            return int.from_bytes(self.take(4), "little", signed=True)
        if head == 0x83:
            raise ValueError("a real number where an integer belongs")
        return head - 256 if head > 127 else head

    def reference(self, head):
        return self.integer(head) - FIRST_REFERENCE

    def string(self):
        """A shared string: new with its length and bytes, or a reference to an earlier one."""
        head = self.byte()
        if head == NIL:
            return None
        if head == NEW:
            text = bytes(self.take(self.integer()))
            self.strings.append(text)
            return text
        return self.strings[self.reference(head)]

    def type_code(self, expected):
        code = self.string()
        if code != expected:
            raise ValueError(f"type {code!r} where {expected!r} belongs, before byte {self.at}")

    def klass(self):
        head = self.byte()
        if head == NIL:
            return None
        if head == NEW:
            name = self.string()
            version = self.integer()
            entry = [name.decode(), version, None]
            self.objects.append(entry)
            entry[2] = self.klass()
            return entry
        return self.objects[self.reference(head)]

    def object(self):
        head = self.byte()
        if head == NIL:
            return None
        if head != NEW:
            return self.objects[self.reference(head)][0]
        place = [None]
        self.objects.append(place)
        place[0] = self.contents(self.klass())
        if self.byte() != END:
            raise ValueError(f"an object without an end, before byte {self.at}")
        return place[0]

    def typed_object(self):
        self.type_code(b"@")
        return self.object()

    def contents(self, klass):
        name = klass[0]
        if name in ("NSString", "NSMutableString"):
            self.type_code(b"+")
            return bytes(self.take(self.integer())).decode()
        if name == "NSURL":
            self.type_code(b"c")
            relative = self.byte()
            base = self.typed_object() if relative else ""
            return base + self.typed_object()
        if name in ("NSDictionary", "NSMutableDictionary"):
            self.type_code(b"i")
            pairs = []
            for _ in range(self.integer()):
                key = self.typed_object()
                pairs.append((key, self.typed_object()))
            return pairs
        if name == "NSError":
            if klass[1] != 0 or klass[2] is None or klass[2][:2] != ["NSObject", 0]:
                raise ValueError(f"class NSError is {klass}")
            self.type_code(b"q")
            code = self.integer()
            domain = self.typed_object()
            return {"code": code, "domain": domain, "userInfo": self.typed_object()}
        raise ValueError(f"a class {name} in an error")


def main():
    with open(sys.argv[1], "rb") as file:
        reader = Reader(file.read())
    if reader.byte() != 4 or bytes(reader.take(reader.integer())) != b"streamtyped" or reader.integer() != 1000:
        raise ValueError("no archive of this format")
    error = reader.typed_object()
    if reader.at != len(reader.data):
        raise ValueError("bytes behind the archive's end")
    entries = [{"key": key, "value": value} for key, value in error["userInfo"] or []]
    plistlib.dump({"domain": error["domain"], "code": str(error["code"]), "userInfo": entries}, sys.stdout.buffer)


main()
