"""JPEG XL files made and read by the standard tools (cjxl, djxl)."""

import struct
import subprocess

import png_files
from samples import from_png, through_tool

LOSSLESS = ('-d', '0')
SIGNATURE = b'\0\0\0\x0cJXL \r\n\x87\n'


def encoded(source, *options, suffix='.png'):
    return through_tool(source, suffix, '.jxl', lambda source, result:
                        ('cjxl', source, result, '-e', '3', '--quiet', *options))


def decoded(jxl, *options):
    return from_png(through_tool(jxl, '.jxl', '.png', lambda source, result:
                                 ('djxl', source, result, '--quiet', *options)))


def noise(sensitivity):
    """The option that lays a film's noise over the picture; its name has changed."""
    shown = subprocess.run(('cjxl', '--help', '-v', '-v'), capture_output=True, check=True).stdout
    if b'--photon_noise_iso' in shown:
        return '--photon_noise_iso=%d' % sensitivity
    return '--photon_noise=ISO%d' % sensitivity


def animated(pictures):
    """An animated PNG of pictures of one size."""
    first = pictures[0]
    result = [png_files.SIGNATURE,
              png_files.header(first.width, first.height, png_files.RGB, 8),
              png_files.chunk(b'acTL', struct.pack('>II', len(pictures), 0))]
    number = 0
    for picture in pictures:
        result.append(png_files.chunk(b'fcTL', struct.pack(
            '>IIIIIHHBB', number, first.width, first.height, 0, 0, 1, 10, 0, 0)))
        number += 1
        png = picture.png()
        offset = png.index(b'IDAT')
        data = png[offset + 4:offset + 4 + struct.unpack_from('>I', png, offset - 4)[0]]
        if picture is first:
            result.append(png_files.chunk(b'IDAT', data))
        else:
            result.append(png_files.chunk(b'fdAT', struct.pack('>I', number) + data))
            number += 1
    return b''.join(result) + png_files.chunk(b'IEND')
