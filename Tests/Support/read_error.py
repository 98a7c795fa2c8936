"""Reads an archived error and prints it as a property list. Usage: read_error.py <file>; see ResultRecord.h."""

import pathlib
import plistlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import read_typed_stream  # noqa: E402


def plain(thing):
    """A text, the text of an address, or the pairs of a dictionary."""
    if thing is None:
        return None
    name = thing["class"][0]
    values = [value for _, value in thing["values"]]
    if name == "NSString":
        return values[0]
    if name == "NSURL":
        relative = values[0]
        return "".join(plain(value) for value in values[1:]) if relative else plain(values[1])
    if name == "NSDictionary":
        assert values[0] * 2 == len(values) - 1, "a dictionary with another count"
        return list(zip(map(plain, values[1::2]), map(plain, values[2::2])))
    raise ValueError(f"a {name} in an error")


def main():
    stream = read_typed_stream.read(sys.argv[1])
    assert (stream["version"], stream["signature"], stream["system"]) == (4, "streamtyped", 1000), "another format"
    ((kind, error),) = stream["root"]
    assert kind == "@" and error["class"] == ["NSError", 0, "NSObject", 0], "no error"
    (_, code), (_, domain), (_, user_info) = error["values"]
    assert [kind for kind, _ in error["values"]] == ["q", "@", "@"], "other contents"
    entries = [{"key": key, "value": value} for key, value in plain(user_info) or []]
    plistlib.dump({"domain": plain(domain), "code": str(code), "userInfo": entries}, sys.stdout.buffer)


main()
