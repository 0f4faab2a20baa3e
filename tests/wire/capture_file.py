"""Capture files of raw IPv4 packets: read, moved to another port, changed, written."""

import struct

FILE_HEADER_SIZE = 24
RECORD_HEADER = struct.Struct("<IIII")
LITTLE_ENDIAN_MICROSECONDS = b"\xd4\xc3\xb2\xa1"

IP_HEADER_SIZE = 20
PORTS_AT = IP_HEADER_SIZE
SEQUENCE_AT = IP_HEADER_SIZE + 4
DATA_OFFSET_AT = IP_HEADER_SIZE + 12
CHECKSUM_AT = IP_HEADER_SIZE + 16


def checksum(data):
    """The Internet checksum of these bytes."""
    total = sum(struct.unpack(f">{len(data) // 2}H", data[:len(data) // 2 * 2]))
    total += data[-1] << 8 if len(data) % 2 else 0
    while total > 0xFFFF:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


class Packet:
    def __init__(self, time, data):
        self.time = time
        self.data = bytearray(data)

    @property
    def payload_at(self):
        return IP_HEADER_SIZE + (self.data[DATA_OFFSET_AT] >> 4) * 4

    @property
    def payload(self):
        return bytes(self.data[self.payload_at:])

    @property
    def ports(self):
        return struct.unpack_from(">HH", self.data, PORTS_AT)

    def move_port(self, old, new):
        ports = [new if port == old else port for port in self.ports]
        struct.pack_into(">HH", self.data, PORTS_AT, *ports)
        self.seal()

    def change(self, at, value):
        """Puts other bytes at an offset of the payload."""
        begin = self.payload_at + at
        self.data[begin:begin + len(value)] = value
        self.seal()

    def seal(self):
        """Makes the TCP checksum right again."""
        struct.pack_into(">H", self.data, CHECKSUM_AT, 0)
        segment = bytes(self.data[IP_HEADER_SIZE:])
        pseudo_header = bytes(self.data[12:20]) + struct.pack(">HH", 6, len(segment))
        struct.pack_into(">H", self.data, CHECKSUM_AT, checksum(pseudo_header + segment))


class CaptureFile:
    def __init__(self, path):
        with open(path, "rb") as file:
            content = file.read()
        assert content[:4] == LITTLE_ENDIAN_MICROSECONDS, f"{path}: not a capture of this machine"
        self.header = content[:FILE_HEADER_SIZE]
        self.packets = []
        at = FILE_HEADER_SIZE
        while at < len(content):
            seconds, microseconds, kept, length = RECORD_HEADER.unpack_from(content, at)
            assert kept == length, f"{path}: a packet is cut"
            at += RECORD_HEADER.size
            self.packets.append(Packet((seconds, microseconds), content[at:at + kept]))
            at += kept

    def move_port(self, old, new):
        for packet in self.packets:
            packet.move_port(old, new)

    def save(self, path):
        with open(path, "wb") as file:
            file.write(self.header)
            for packet in self.packets:
                size = len(packet.data)
                file.write(RECORD_HEADER.pack(*packet.time, size, size) + packet.data)
