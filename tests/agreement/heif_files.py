"""HEIF files made by the standard tool (heif-enc), their boxes changed, and read by its
counterpart (heif-convert)."""

import struct

from samples import from_png, through_tool

FULL_COLOUR = ('-p', 'chroma=444')
LOSSLESS = ('-L', *FULL_COLOUR, '--matrix_coefficients=0')

# One picture in two spatial layers of AV1, coarse and lossless: 16 x 16 pixels, red rising to the
# right and green downwards, each from 0 to 255, blue a board of squares of 4 x 4 pixels, the first
# of them 0. No tool of the system writes such layers, so libaom was called for these.
LAYERS = tuple(bytes.fromhex(text) for text in (
    (
        '12000a0e201301008080cffdfff9a021a004322e1000f8000002c03f2000fd4288c9789f8ce7259e'
        'b9416e8aa882bdaf4da7256ac20c32ac9deda8784be4710749fa'
    ), (
        '0a0e201301008080cffdfff9a021a004360882011000800071eb71ed779a287d6ddfb96353eeb84e'
        'efcf34de694664ad0f52efc51ee19f369d7479246ceaf23a4f8769a8e98f08fe233e0cc29358f5f8'
        '7d4c596af18c6d6959b948c057f0df0626a6183f2689fde5bbb60efac70602c5645eeaf247df54c1'
        '9529c39e5a2dc6d41caeef0cefc01009f6787e0e58cf60f23dc8b206fd3f'
    )))
HEIC, AVIF = '.heic', '.avif'


def encoded(picture, kind, *options):
    return through_tool(picture.png(), '.png', kind,
                        lambda source, result: ('heif-enc', *options, '-o', result, source))


def decoded(heif):
    return from_png(through_tool(heif, '.heif', '.png', lambda source, result:
                                 ('heif-convert', source, result)))


def box(name, body):
    return struct.pack('>I', len(body) + 8) + name + body


def boxes(data, offset=0, end=None):
    """Name, offset and whole length of every box."""
    end = len(data) if end is None else end
    while offset < end:
        size = struct.unpack_from('>I', data, offset)[0]
        yield data[offset + 4:offset + 8], offset, size
        offset += size


def inside(data, name, offset=0, end=None):
    """Where the one box of that name begins and ends."""
    return next((at, at + size) for found, at, size in boxes(data, offset, end) if found == name)


def meta(data):
    begin, end = inside(data, b'meta')
    return begin + 12, end


def grown(data, offset, added):
    """With the length of the box at `offset` so much larger."""
    size = struct.unpack_from('>I', data, offset)[0] + added
    return data[:offset] + struct.pack('>I', size) + data[offset + 4:]


def moved(data, added):
    """With the bytes of all items in the file so much later."""
    offset, end = inside(data, b'iloc', *meta(data))
    count = struct.unpack_from('>H', data, offset + 14)[0]
    version, sizes = data[offset + 8], (data[offset + 12], data[offset + 13] >> 4)
    if sizes != (0x44, 4):
        raise ValueError('another form of locations')
    at = offset + 16
    for _ in range(count):
        method = 0 if version == 0 else data[at + 3] & 15
        base = at + (4 if version == 0 else 6)
        extents = struct.unpack_from('>H', data, base + 4)[0]
        if method == 0:
            old = struct.unpack_from('>I', data, base)[0]
            data = data[:base] + struct.pack('>I', old + added) + data[base + 4:]
        at = base + 6 + 8 * extents
    return data


def items_of(heif):
    """The bytes of every item, by its number."""
    begin, end = meta(heif)
    iloc = inside(heif, b'iloc', begin, end)[0]
    data = [at for name, at, _ in boxes(heif, begin, end) if name == b'idat']
    version, count = heif[iloc + 8], struct.unpack_from('>H', heif, iloc + 14)[0]
    items, at = {}, iloc + 16
    for _ in range(count):
        item, method = struct.unpack_from('>HH', heif, at)
        at += 4 if version == 0 else 6
        base, _, offset, length = struct.unpack_from('>IHII', heif, at)
        if version and method & 15 == 1:
            base += data[0] + 8
        items[item] = heif[base + offset:base + offset + length]
        at += 14
    return items


def in_pieces(data, count):
    size = -(-len(data) // count)
    return [data[start:start + size] for start in range(0, len(data), size)]


def in_idat(heif, items):
    """The file with the pieces of `items`, a list for each one's number, in the `idat` of its
    `meta` box: first the first ones of all items, then the second ones."""
    begin, end = meta(heif)
    kept = b''.join(heif[at:at + size] for name, at, size in boxes(heif, begin, end)
                    if name not in (b'idat', b'iloc'))
    data, extents = b'', {item: b'' for item in items}
    for turn in range(max(len(parts) for parts in items.values())):
        for item, parts in items.items():
            for part in parts[turn:turn + 1]:
                extents[item] += struct.pack('>II', len(data), len(part))
                data += part
    locations = b''.join(struct.pack('>4H', item, 1, 0, len(part) // 8) + part
                         for item, part in extents.items())
    iloc = full_box(b'iloc', struct.pack('>HH', 0x4400, len(items)) + locations, 1)
    return heif[:begin - 12] + full_box(b'meta', kept + iloc + box(b'idat', data))


def without_end(heif, count):
    """The file whose last box is `idat` without its last bytes."""
    begin, end = meta(heif)
    offset = inside(heif, b'idat', begin, end)[0]
    return grown(grown(heif, offset, -count), begin - 12, -count)[:-count]


def associated(entries, primary, numbers):
    """The items' lists of properties, those of the primary items with further numbers."""
    version_flags, count = struct.unpack_from('>II', entries)
    if version_flags:
        raise ValueError('another form of associations')
    result, at = entries[:8], 8
    for _ in range(count):
        item, length = struct.unpack_from('>HB', entries, at)
        own = entries[at + 3:at + 3 + length]
        at += 3 + length
        if item in primary:
            own += bytes(0x80 | number for number in numbers)
        result += struct.pack('>HB', item, len(own)) + own
    return result


def primary_items(data):
    """The primary item, and what refers to it: its alpha."""
    begin, end = meta(data)
    primary = struct.unpack_from('>H', data, inside(data, b'pitm', begin, end)[0] + 12)[0]
    items = {primary}
    for name, offset, size in boxes(data, begin, end):
        if name == b'iref':
            for kind, at, _ in boxes(data, offset + 12, offset + size):
                item, _, to = struct.unpack_from('>HHH', data, at + 8)
                if kind == b'auxl' and to == primary:
                    items.add(item)
    return items


def with_properties(data, *properties):
    """The file whose primary item has further properties, in this order."""
    items = primary_items(data)
    iprp, iprp_end = inside(data, b'iprp', *meta(data))
    ipco, ipco_end = inside(data, b'ipco', iprp + 8, iprp_end)
    ipma, ipma_end = inside(data, b'ipma', iprp + 8, iprp_end)
    first = 1 + sum(1 for _ in boxes(data, ipco + 8, ipco_end))
    ours = b''.join(properties)
    entries = associated(data[ipma + 8:ipma_end], items,
                         range(first, first + len(properties)))
    added = len(ours) + len(entries) - (ipma_end - ipma - 8)
    changed = (data[:ipco_end] + ours + data[ipco_end:ipma] + box(b'ipma', entries) +
               data[ipma_end:])
    changed = grown(changed, ipco, len(ours))
    changed = grown(changed, iprp, added)
    changed = grown(changed, inside(data, b'meta')[0], added)
    return moved(changed, added)


def declared(data):
    """Width and height of the primary item before it is clipped: newer writers round them up to
    what they code."""
    begin, end = meta(data)
    primary = struct.unpack_from('>H', data, inside(data, b'pitm', begin, end)[0] + 12)[0]
    iprp, iprp_end = inside(data, b'iprp', begin, end)
    ipco, ipco_end = inside(data, b'ipco', iprp + 8, iprp_end)
    properties = list(boxes(data, ipco + 8, ipco_end))
    at = inside(data, b'ipma', iprp + 8, iprp_end)[0] + 16
    while struct.unpack_from('>H', data, at)[0] != primary:
        at += 3 + data[at + 2]
    own = (properties[(number & 0x7f) - 1] for number in data[at + 3:at + 3 + data[at + 2]])
    return struct.unpack_from('>II', data, next(at for name, at, _ in own if name == b'ispe') + 12)


def rotation(quarters):
    """Against the clock."""
    return box(b'irot', bytes((quarters,)))


def mirroring(axis):
    return box(b'imir', bytes((axis,)))


def clipping(width, height, right, down):
    """A part of the picture, its middle so far from the picture's."""
    return box(b'clap', struct.pack('>IIIIiIiI', width, 1, height, 1, right, 2, down, 2))


def colours(primaries, transfer, matrix=6):
    return box(b'colr', b'nclx' + struct.pack('>HHHB', primaries, transfer, matrix, 0x80))


def profiled(profile):
    return box(b'colr', b'prof' + profile)


def full_box(name, body, version=0, flags=0):
    return box(name, struct.pack('>I', version << 24 | flags) + body)


def coded(heif):
    """The first item of a file: what its decoder is told beforehand, and its bytes."""
    begin, end = meta(heif)
    iprp, iprp_end = inside(heif, b'iprp', begin, end)
    ipco, ipco_end = inside(heif, b'ipco', iprp + 8, iprp_end)
    settings = next(heif[at:at + size] for name, at, size in boxes(heif, ipco + 8, ipco_end)
                    if name in (b'hvcC', b'av1C'))
    iloc = inside(heif, b'iloc', begin, end)[0]
    entry = iloc + (20 if heif[iloc + 8] == 0 else 22)
    base, _, offset, length = struct.unpack_from('>IHII', heif, entry)
    return settings, heif[base + offset:base + offset + length]


def grid(kind, tiles, columns, rows, output, tile=(64, 64), parts=None, declared=None):
    """A picture of output's size that is laid out of coded tiles; `parts` are the items that it
    names, `declared` is the size that its item says."""
    settings, last = coded(tiles[0])[0], len(tiles) + 1
    contents = [coded(heif)[1] for heif in tiles]
    contents.append(struct.pack('>BBBBHH', 0, 0, rows - 1, columns - 1, *output))
    kinds = [b'av01' if kind == AVIF else b'hvc1'] * len(tiles) + [b'grid']
    entries = b''.join(full_box(b'infe', struct.pack('>HH4sB', item, 0, name, 0), 2, item != last)
                       for item, name in enumerate(kinds, 1))
    parts = list(range(1, last)) if parts is None else parts
    properties = box(b'ipco', settings + full_box(b'ispe', struct.pack('>II', *tile)) +
                     full_box(b'ispe', struct.pack('>II', *(declared or output))) +
                     full_box(b'pixi', bytes((3, 8, 8, 8))))
    owners = b''.join(struct.pack('>H4B', item, 3, 0x81, 2, 4) for item in range(1, last))
    owners += struct.pack('>H3B', last, 2, 3, 4)
    described = (full_box(b'hdlr', b'\0\0\0\0pict' + bytes(13)) +
                 full_box(b'pitm', struct.pack('>H', last)) +
                 full_box(b'iinf', struct.pack('>H', last) + entries) +
                 full_box(b'iref', box(b'dimg', struct.pack('>%dH' % (len(parts) + 2), last,
                                                            len(parts), *parts))) +
                 box(b'iprp', properties + full_box(b'ipma', struct.pack('>I', last) + owners)))
    head = box(b'ftyp', b'mif1\0\0\0\0mif1' + (b'avif' if kind == AVIF else b'heic'))
    offset = len(head) + 12 + len(described) + 16 + 18 * last + 8
    locations = b''
    for item, content in enumerate(contents, 1):
        locations += struct.pack('>HHIHII', item, 0, offset, 1, 0, len(content))
        offset += len(content)
    iloc = full_box(b'iloc', struct.pack('>HH', 0x4440, last) + locations)
    return head + full_box(b'meta', described + iloc) + box(b'mdat', b''.join(contents))


class Item:
    """An item of a file that is put together here: its bytes come to lie in `idat`."""

    def __init__(self, kind, size, content, parts=(), alpha_of=0, settings=b''):
        self.kind, self.size, self.content = kind, size, content
        self.parts, self.alpha_of, self.settings = parts, alpha_of, settings


def coded_item(heif, size, alpha_of=0):
    settings, content = coded(heif)
    kind = b'av01' if settings[4:8] == b'av1C' else b'hvc1'
    return Item(kind, size, content, (), alpha_of, settings)


def overlay_item(canvas, parts, size=None, alpha_of=0):
    """All parts at the canvas's first pixel."""
    content = struct.pack('>BB4HII', 0, 1, 0, 0, 0, 65535, *canvas) + bytes(8 * len(parts))
    return Item(b'iovl', size or canvas, content, parts, alpha_of)


def grid_item(columns, rows, output, parts):
    return Item(b'grid', output, struct.pack('>BBBBII', 0, 1, rows - 1, columns - 1, *output),
                parts)


def assembled(items):
    """A file of these items, whose numbers begin with 1: the first is the picture."""
    entries, references, properties, owners, locations, data = (b'',) * 6
    count = 0
    for number, item in enumerate(items, 1):
        entries += full_box(b'infe', struct.pack('>HH4sB', number, 0, item.kind, 0), 2)
        for name, to in ((b'dimg', item.parts), (b'auxl', (item.alpha_of,) * bool(item.alpha_of))):
            if to:
                references += box(name, struct.pack('>%dH' % (len(to) + 2), number, len(to), *to))
        own = [full_box(b'ispe', struct.pack('>II', *item.size))]
        own += [item.settings] * bool(item.settings)
        if item.alpha_of:
            own.append(full_box(b'auxC', b'urn:mpeg:mpegB:cicp:systems:auxiliary:alpha\0'))
        owners += struct.pack('>HB', number, len(own))
        for content in own:
            count += 1
            properties += content
            owners += struct.pack('>H', 0x8000 | count)
        if item.content not in data:
            data += item.content
        locations += struct.pack('>HHHHII', number, 1, 0, 1, data.index(item.content),
                                 len(item.content))
    total = len(items)
    return box(b'ftyp', b'mif1\0\0\0\0mif1avifheic') + full_box(
        b'meta', full_box(b'hdlr', b'\0\0\0\0pict' + bytes(13)) +
        full_box(b'pitm', struct.pack('>H', 1)) +
        full_box(b'iinf', struct.pack('>H', total) + entries) + full_box(b'iref', references) +
        box(b'iprp', box(b'ipco', properties) +
            full_box(b'ipma', struct.pack('>I', total) + owners, 0, 1)) +
        full_box(b'iloc', struct.pack('>HH', 0x4400, total) + locations, 1) + box(b'idat', data))
