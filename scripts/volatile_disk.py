"""A disk that can lose its power, as a file that a loop device can stand on.

The file is served through FUSE, so that this process sees each write and each
flush in the order in which the disk gets them. A write is on the medium after
the next flush. When the power goes, each piece of 4096 bytes that was written
since the last flush may have reached the medium or not.
"""
import ctypes
import errno
import mmap
import os
import random
import stat
import struct

PIECE = 4096
REQUEST_MOST = 128 << 10
OUT_HEADER = struct.Struct("<IiQ")
IN_HEADER = struct.Struct("<IIQQIIIHH")
RANGE = struct.Struct("<QQI")   # handle, offset, size: the beginning of a read and of a write
WRITE_HEADER_SIZE = 40
GETATTR, OPEN, READ, WRITE, RELEASE, FSYNC, FLUSH, INIT = 3, 14, 15, 16, 18, 20, 25, 26
WITHOUT_REPLY = (2, 36, 42)   # FORGET, INTERRUPT, BATCH_FORGET
OPEN_DIRECT_IO = 1


class Fuse:
    """The kernel's side: a file system that is one regular file, at `path`."""

    def __init__(self, path):
        path.touch()
        self.path = path
        self.channel = os.open("/dev/fuse", os.O_RDWR)
        options = f"fd={self.channel},rootmode={stat.S_IFREG:o},user_id=0,group_id=0"
        libc = ctypes.CDLL(None, use_errno=True)
        if libc.mount(b"volatile_disk", bytes(path), b"fuse", 0, options.encode()) != 0:
            raise OSError(ctypes.get_errno(), f"cannot mount {path}")


class Disk:
    """The image on the medium, and what has been written since the last flush."""

    def __init__(self, image, moment):
        self.file = open(image, "r+b")
        self.bytes = mmap.mmap(self.file.fileno(), 0)
        self.moment = moment
        self.unflushed = []   # of (offset, old bytes, new bytes)
        self.is_dead = False

    def write(self, offset, new):
        for start in range(0, len(new), PIECE):
            piece = bytes(new[start:start + PIECE])
            at = slice(offset + start, offset + start + len(piece))
            self.unflushed.append((at, self.bytes[at], piece))
            self.bytes[at] = piece

    def lose_power(self):
        kept = random.choice([0, 0.5, 0.9, 1])   # 1: a disk without a cache
        for at, old, _ in reversed(self.unflushed):
            self.bytes[at] = old
        for at, _, new in self.unflushed:
            if random.random() < kept:
                self.bytes[at] = new
        self.is_dead = True

    def answer(self, opcode, body):
        """The reply to one request, or an error."""
        if opcode == INIT:
            return struct.pack("<IIIIHHIIHHI28x", 7, 31, 0, 0, 0, 0, REQUEST_MOST, 1, 0, 0, 0)
        if opcode == GETATTR:
            mode, links = stat.S_IFREG | 0o600, 1
            return struct.pack("<QIIQQ44xIIIIII4x", 3600, 0, 0, 1, len(self.bytes), mode, links, 0, 0, 0, PIECE)
        if opcode == OPEN:
            return struct.pack("<QII", 0, OPEN_DIRECT_IO, 0)
        if opcode in (RELEASE, FLUSH):
            return b""
        if opcode not in (READ, WRITE, FSYNC):
            return errno.ENOSYS
        if opcode != READ and self.moment.has_come():
            self.lose_power()
        if self.is_dead:
            return errno.EIO
        if opcode == FSYNC:
            self.unflushed.clear()
            return b""
        _, offset, size = RANGE.unpack_from(body)
        if opcode == READ:
            return self.bytes[offset:offset + size]
        self.write(offset, body[WRITE_HEADER_SIZE:WRITE_HEADER_SIZE + size])
        return struct.pack("<II", size, 0)


def serve(channel, disk):
    """Returns when the file is unmounted."""
    request = memoryview(bytearray(REQUEST_MOST + PIECE))
    while True:
        try:
            length = os.readv(channel, [request])
        except OSError as error:
            if error.errno == errno.ENODEV:
                return
            continue   # the request was interrupted
        _, opcode, unique, *_ = IN_HEADER.unpack_from(request)
        if opcode in WITHOUT_REPLY:
            continue
        answer = disk.answer(opcode, request[IN_HEADER.size:length])
        error, body = (-answer, b"") if isinstance(answer, int) else (0, answer)
        os.writev(channel, [OUT_HEADER.pack(OUT_HEADER.size + len(body), error, unique), body])
