"""Runs a command where the only network is a loopback of its own, and counts what the command asked of it.

Usage: offline.py <port> <command>...   (in namespaces of its own for network and mounts, with the right to change them)

Name servers are this program, which answers no name; the port is open on every loopback address. Standard output and status are the
command's; the last line of standard error is "<questions> questions, <connections> connections".
"""

import fcntl
import os
import socket
import struct
import subprocess
import sys
import tempfile
import threading

SIOCGIFFLAGS, SIOCSIFFLAGS, IFF_UP = 0x8913, 0x8914, 1


def raise_loopback():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        request = struct.pack("16sH14s", b"lo", 0, b"")
        flags = struct.unpack("16sH14s", fcntl.ioctl(any_socket, SIOCGIFFLAGS, request))[1]
        fcntl.ioctl(any_socket, SIOCSIFFLAGS, struct.pack("16sH14s", b"lo", flags | IFF_UP, b""))


def use_own_name_server():
    with tempfile.NamedTemporaryFile("w", suffix=".conf") as file:
        file.write("nameserver 127.0.0.1\noptions timeout:1 attempts:1\n")
        file.flush()
        os.chmod(file.name, 0o644)
        subprocess.run(["mount", "--bind", file.name, os.path.realpath("/etc/resolv.conf")], check=True)


def main():
    port, command = int(sys.argv[1]), sys.argv[2:]
    raise_loopback()
    use_own_name_server()
    names = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    names.bind(("0.0.0.0", 53))
    listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    listener.bind(("0.0.0.0", port))
    listener.listen(100)
    counts = {"questions": 0, "connections": 0}

    def answer_names():
        while True:
            question, sender = names.recvfrom(2000)
            counts["questions"] += 1
            # The same question with the answer that there is no such name.
            names.sendto(question[:2] + b"\x81\x83" + question[4:6] + bytes(6) + question[12:], sender)

    def take_connections():
        while True:
            connection, _ = listener.accept()
            counts["connections"] += 1
            connection.close()

    for work in (answer_names, take_connections):
        threading.Thread(target=work, daemon=True).start()
    status = subprocess.run(command).returncode
    print(f"{counts['questions']} questions, {counts['connections']} connections", file=sys.stderr)
    sys.exit(status)


main()
