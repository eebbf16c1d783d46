// sharp_peer.js FILE: a picture's pixel digest by sharp. It brings tagged pictures to sRGB by itself.
const crypto = require('node:crypto')
const sharp = require('sharp')

const premultiply = rgba => {
  for (let i = 0; i < rgba.length; i += 4) {
    const alpha = rgba[i + 3]
    if (alpha === 255) continue
    for (let j = i; j < i + 3; j++) rgba[j] = (rgba[j] * alpha + 127) / 255
  }
}

const main = async () => {
  const { data, info } = await sharp(process.argv[2]).ensureAlpha().raw().toBuffer({ resolveWithObject: true })
  premultiply(data)
  const digest = crypto.createHash('sha256')
  digest.update(`${info.width}x${info.height}:rgba8-srgb:`)
  digest.update(data)
  console.log(digest.digest('hex'))
}

main()
