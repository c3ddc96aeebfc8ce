"""A small pcap writer: TCP over IPv4 between two loopback addresses."""
import struct

CLIENT = bytes([127, 0, 0, 1])
SERVER = bytes([127, 0, 0, 2])


def _ipv4(payload: bytes, src: bytes, dst: bytes) -> bytes:
    head = struct.pack("!BBHHHBBH4s4s", 0x45, 0, 20 + len(payload), 0, 0x4000, 64, 6, 0, src, dst)
    total = sum(struct.unpack("!10H", head))
    while total > 0xFFFF:
        total = (total & 0xFFFF) + (total >> 16)
    return head[:10] + struct.pack("!H", ~total & 0xFFFF) + head[12:] + payload


class TcpStream:
    """One connection, client to server: a handshake, then data segments."""

    def __init__(self, client_port: int, server_port: int):
        self.ports = (client_port, server_port)
        self.packets = []
        self.seq = 1000
        self.ack = 5000
        self._segment(b"", 0x02, self.seq - 1, 0)  # SYN
        self._segment(b"", 0x12, self.ack - 1, self.seq, reply=True)  # SYN/ACK
        self._segment(b"", 0x10, self.seq, self.ack)  # ACK

    def _segment(self, data: bytes, flags: int, seq: int, ack: int, reply: bool = False):
        sport, dport = self.ports if not reply else self.ports[::-1]
        tcp = struct.pack("!HHIIBBHHH", sport, dport, seq, ack, 5 << 4, flags, 65535, 0, 0) + data
        src, dst = (CLIENT, SERVER) if not reply else (SERVER, CLIENT)
        self.packets.append(_ipv4(tcp, src, dst))

    def send(self, data: bytes):
        self._segment(data, 0x18, self.seq, self.ack)
        self.seq += len(data)


def write_pcap(path, packets):
    """Raw IPv4 packets (link type 228), one a millisecond."""
    with open(path, "wb") as out:
        out.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 228))
        for i, packet in enumerate(packets):
            out.write(struct.pack("<IIII", 1700000000, i * 1000, len(packet), len(packet)))
            out.write(packet)
