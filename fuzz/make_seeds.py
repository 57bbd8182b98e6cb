#!/usr/bin/env python3
"""Writes the seed corpus of every fuzz target into corpus/<target>/.

Run from anywhere; the files are small and kept in the repository, this
script only documents how they were made and remakes them."""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def crc(frame):
    value = 0xFFFF
    for byte in frame:
        value ^= byte
        for _ in range(8):
            value = (value >> 1) ^ 0xA001 if value & 1 else value >> 1
    return frame + bytes([value & 0xFF, value >> 8])


def read_answer(function, data, address=1):
    return crc(bytes([address, function, len(data)]) + data)


def write_echo(function, start, count, address=1):
    return crc(bytes([address, function]) + struct.pack(">HH", start, count))


def pieces(*frames, size=256):
    """The driver target's answer stream: each piece is its length less one, then its bytes."""
    out = b""
    for frame in frames:
        for at in range(0, len(frame), size):
            piece = frame[at:at + size]
            out += bytes([len(piece) - 1]) + piece
    return out


def mbap(rtu_without_crc, transaction=1):
    return struct.pack(">HHH", transaction, 0, len(rtu_without_crc)) + rtu_without_crc


def write(target, name, content):
    folder = os.path.join(HERE, "corpus", target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(content)


# Register blocks the driver reads, in its order: discrete inputs 0-511,
# input registers 0-40 and 100-184, holding registers 0-109.
text = b"UPS-20K " * 6
query_answers = [
    read_answer(2, bytes([0x05, 0x80] + [0] * 62)),
    read_answer(4, (text + bytes(82))[:82]),
    read_answer(4, bytes(range(170))),
    read_answer(3, bytes(220)),
]
write("fuzz_driver", "query_ok", b"\x00" + pieces(*query_answers))
write("fuzz_driver", "query_split", b"\x00" + pieces(*query_answers, size=7))
write("fuzz_driver", "query_noise", b"\x00" + pieces(b"\x01\x04\x02" + query_answers[0], *query_answers[1:]))
write("fuzz_driver", "query_exception", b"\x00" + pieces(crc(b"\x01\x82\x02")))
write("fuzz_driver", "query_truncated", b"\x00" + pieces(query_answers[0][:40]))
write("fuzz_driver", "command_ok", b"\x010,1\n" + pieces(write_echo(16, 512, 2)))
write("fuzz_driver", "command_refused", b"\x017,\n" + pieces(crc(b"\x01\x90\x04")))
write("fuzz_driver", "setting_number", b"\x013004,230\n" + pieces(write_echo(6, 4, 230)))
write("fuzz_driver", "setting_text", b"\x013087,ACME\n" + pieces(write_echo(16, 82, 8)))
write("fuzz_driver", "setting_date", b"\x013103,24,1,2,3,4,5\n" + pieces(write_echo(16, 90, 3)))
records = b"".join(struct.pack(">HH", code, code & 1) + bytes([24, 1, 2, 3, 4, 5]) for code in (1, 2, 3))
write("fuzz_driver", "history", b"\x0120,0\n"
      + pieces(read_answer(4, struct.pack(">H", 3)), read_answer(4, records)))

def tcp_pieces(*frames):
    """The driver target's TCP answer stream: two length bytes, then what the peer sends."""
    return b"".join(struct.pack(">H", len(f)) + f for f in frames)


write("fuzz_driver", "tcp_query_ok", b"\x02" + tcp_pieces(*(mbap(a[:-2]) for a in query_answers)))
write("fuzz_driver", "tcp_command_ok", b"\x030,1\n" + tcp_pieces(mbap(write_echo(16, 512, 2)[:-2])))
write("fuzz_driver", "tcp_history", b"\x0320,0\n" + tcp_pieces(mbap(read_answer(4, struct.pack(">H", 3))[:-2]),
                                                             mbap(read_answer(4, records)[:-2])))
write("fuzz_driver", "tcp_oversized", b"\x02" + tcp_pieces(mbap(bytes(range(256)) * 4)))

write("fuzz_tcp_read", "read_answer", mbap(b"\x01\x03\x04\x00\x01\x00\x02"))
write("fuzz_tcp_read", "exception", mbap(b"\x01\x83\x02"))
write("fuzz_tcp_read", "echo", mbap(b"\x01\x10\x02\x00\x00\x02"))
write("fuzz_tcp_read", "header_only", b"\x00\x01\x00\x00\x00\x01\x01")
write("fuzz_tcp_read", "short", b"\x00\x01\x00\x00\x00")
write("fuzz_tcp_read", "two_answers", mbap(b"\x01\x04\x02\x12\x34") + mbap(b"\x01\x04\x02\x56\x78", 2))
write("fuzz_tcp_read", "oversized", mbap(b"\x01\x03\xfa" + bytes(range(250)) * 4))

write("fuzz_modbus_frames", "crc_ok", b"\x00" + crc(b"\x01\x03\x00\x00\x00\x0a"))
write("fuzz_modbus_frames", "crc_bad", b"\x00\x01\x03\x00\x00\x00\x0a\x00\x00")
write("fuzz_modbus_frames", "cmd16", b"\x01\x00\x0a\x00\x05" + bytes(range(10)))
write("fuzz_modbus_frames", "cmd16_long", b"\x01\x02\x50\x00\x7b" + bytes(range(200)))
write("fuzz_modbus_frames", "read_request", b"\x02\x00\x05\x00\x7d")

timeout = struct.pack(">i", 1000)
for name, settings in [("comma", b"9600,n,8,1"), ("comma_even", b"19200,E,7,2"), ("enum", b"12#3#0#0"),
                       ("enum_bad", b"22#9#7#3"), ("short", b"9600,n"), ("unicode", "9600,\u00e9,8,1".encode())]:
    write("fuzz_serial_settings", name, b"\x00" + timeout + settings)
write("fuzz_serial_settings", "absent", b"\x01" + timeout + b"9600,n,8,1")
write("fuzz_serial_settings", "negative_timeout", b"\x00" + struct.pack(">i", -5) + b"115200,O,5,2")

write("fuzz_history_export", "lines", b"1 1 24 01 02 03 04 05\n2 0 23 12 31 23 59 59\n")
write("fuzz_history_export", "odd_lines", b"1 1 24\n\n7 2 x y z 1 2 3 4\r\n-1 1 99 99 99 99 99 99 extra\n")

write("fuzz_history_codemap", "english", b"\x001,Mains abnormal,\xe5\xb8\x82\xe7\x94\xb5\n2,Bypass,\n")
write("fuzz_history_codemap", "chinese", b"\x011,Mains abnormal,\xe5\xb8\x82\xe7\x94\xb5\n 0 , zero ,\n,,\n")
