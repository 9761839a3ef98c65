"""Reading and writing 8-bit 4:2:0 y4m clips as numpy planes."""
import numpy as np


def read(path):
    """Returns (header, [(y, u, v), ...]) with uint8 planes."""
    with open(path, 'rb') as f:
        data = f.read()
    end = data.index(b'\n')
    header = data[:end].decode()
    fields = header.split()
    w = int(next(t[1:] for t in fields if t.startswith('W')))
    h = int(next(t[1:] for t in fields if t.startswith('H')))
    size = w * h * 3 // 2
    frames = []
    pos = end + 1
    while pos < len(data):
        line_end = data.index(b'\n', pos)
        pos = line_end + 1
        buf = np.frombuffer(data, np.uint8, size, pos)
        pos += size
        y = buf[:w * h].reshape(h, w)
        u = buf[w * h:w * h * 5 // 4].reshape(h // 2, w // 2)
        v = buf[w * h * 5 // 4:].reshape(h // 2, w // 2)
        frames.append((y, u, v))
    return header, frames


def write(path, header, frames):
    with open(path, 'wb') as f:
        f.write(header.encode() + b'\n')
        for y, u, v in frames:
            f.write(b'FRAME\n')
            f.write(y.tobytes())
            f.write(u.tobytes())
            f.write(v.tobytes())
