"""Orientation and colour tags as files carry them."""

import struct

SRGB_RED = (0.43607, 0.22249, 0.01392)
SRGB_GREEN = (0.38515, 0.71687, 0.09708)
SRGB_BLUE = (0.14307, 0.06061, 0.71410)
DISPLAY_P3 = ((0.51512, 0.24120, -0.00105), (0.29198, 0.69225, 0.04189), (0.15710, 0.06657, 0.78407))


# The types of an entry.
BYTE, SHORT, LONG, SIGNED_SHORT = 1, 3, 4, 8


def exif(orientation, order='>', entries_before=3, kind=SHORT, count=1):
    """Exif data, TIFF header first, with the orientation after some other entries."""
    entries = [struct.pack(order + 'HHII', 0x0100 + i, 4, 1, 7) for i in range(entries_before)]
    form = {BYTE: 'B3x', SHORT: 'H2x', LONG: 'I', SIGNED_SHORT: 'h2x'}[kind]
    entries.append(struct.pack(order + 'HHI' + form, 0x0112, kind, count, orientation))
    mark = b'MM' if order == '>' else b'II'
    return (mark + struct.pack(order + 'HIH', 42, 8, len(entries)) + b''.join(entries) +
            struct.pack(order + 'I', 0))


def fixed(*values):
    return struct.pack('>%di' % len(values), *(round(value * 65536) for value in values))


def xyz(values):
    return b'XYZ \0\0\0\0' + fixed(*values)


def stored(*values):
    """The numbers as a profile keeps them."""
    return tuple(round(value * 65536) / 65536 for value in values)


def formula_curve(*parameters):
    """A gamma alone, or with a, b, c and d."""
    kind = {1: 0, 5: 3}[len(parameters)]
    return b'para\0\0\0\0' + struct.pack('>HH', kind, 0) + fixed(*parameters)


def sampled_curve(light, count):
    values = [round(65535 * light(i / (count - 1))) for i in range(count)]
    return b'curv\0\0\0\0' + struct.pack('>I%dH' % count, count, *values)


def gamma_curve(gamma):
    return b'curv\0\0\0\0' + struct.pack('>IH', 1, round(gamma * 256))


def srgb_light(value):
    return value / 12.92 if value <= 0.04045 else ((value + 0.055) / 1.055) ** 2.4


SRGB_CURVE = formula_curve(2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045)


def profile(tags, space=b'RGB ', connection=b'XYZ '):
    offset = 132 + 12 * len(tags)
    table, data = struct.pack('>I', len(tags)), b''
    for name, tag in tags.items():
        tag += bytes(-len(tag) % 4)
        table += name + struct.pack('>II', offset + len(data), len(tag))
        data += tag
    body = (b'\0\0\0\0\x02\x10\0\0mntr' + space + connection + bytes(12) + b'acsp' + bytes(28) +
            fixed(0.9642, 1, 0.8249) + bytes(48) + table + data)
    return struct.pack('>I', len(body) + 4) + body


def rgb_profile(curve=SRGB_CURVE, primaries=(SRGB_RED, SRGB_GREEN, SRGB_BLUE), **more):
    tags = {b'rXYZ': xyz(primaries[0]), b'gXYZ': xyz(primaries[1]), b'bXYZ': xyz(primaries[2]),
            b'rTRC': curve, b'gTRC': curve, b'bTRC': curve}
    tags.update({name.encode(): tag for name, tag in more.items()})
    return profile(tags)


def grey_profile(curve):
    return profile({b'kTRC': curve}, space=b'GRAY')
