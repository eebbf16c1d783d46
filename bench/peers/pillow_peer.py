"""pillow_peer.py FILE: a picture's pixel digest by Pillow."""

import hashlib
import io
import sys

from PIL import Image

image = Image.open(sys.argv[1])
profile = image.info.get('icc_profile')
if profile:
    from PIL import ImageCms
    image = ImageCms.profileToProfile(image, ImageCms.ImageCmsProfile(io.BytesIO(profile)),
                                      ImageCms.createProfile('sRGB'))
# Pillow's RGBa is premultiplied; what has no alpha needs none of that.
rgba = image.convert('RGBa') if image.mode == 'RGBA' else image.convert('RGBA')
digest = hashlib.sha256(b'%dx%d:rgba8-srgb:' % image.size)
digest.update(rgba.tobytes())
print(digest.hexdigest())
