#!/bin/sh
# imagemagick_peer.sh CONVERT PIXEL_DIGEST WIDTH HEIGHT FILE [PROFILE]: a picture's pixel digest by
# ImageMagick; a tagged picture is converted to the profile of the last file.
if [ -n "${6-}" ]; then
    "$1" "$5" -profile "$6" -depth 8 RGBA:- | "$2" "$3" "$4"
else
    "$1" "$5" -depth 8 RGBA:- | "$2" "$3" "$4"
fi
