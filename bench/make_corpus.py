#!/usr/bin/python3
"""Builds the benchmark corpus: one large natural photograph tiled from the
sample photographs that Debian's python3-skimage ships, written as PPM and PGM.
Nothing binary is committed; the JPEG files are made from these by
make_corpus.sh with libjpeg-turbo's cjpeg and jpegtran."""
import sys

import numpy as np
from skimage import data

WIDTH, HEIGHT = 2048, 1536


def tile():
    # Colour photographs only, cropped to a common tile size.
    names = ["astronaut", "coffee", "chelsea", "rocket", "immunohistochemistry", "motorcycle"]
    photos = []
    for name in names:
        try:
            if name == "motorcycle":
                photo = data.stereo_motorcycle()[0]
            else:
                photo = getattr(data, name)()
        except Exception:  # a sample missing from this version
            continue
        if photo.ndim == 3 and photo.shape[2] >= 3:
            photos.append(photo[:, :, :3])
    tile_h, tile_w = 384, 512
    out = np.zeros((HEIGHT, WIDTH, 3), dtype=np.uint8)
    k = 0
    for y in range(0, HEIGHT, tile_h):
        for x in range(0, WIDTH, tile_w):
            p = photos[k % len(photos)]
            k += 1
            oy = (p.shape[0] - tile_h) // 2 if p.shape[0] > tile_h else 0
            ox = (p.shape[1] - tile_w) // 2 if p.shape[1] > tile_w else 0
            crop = p[oy:oy + tile_h, ox:ox + tile_w]
            out[y:y + crop.shape[0], x:x + crop.shape[1]] = crop
    return out


def main(directory):
    image = tile()
    with open(f"{directory}/photo.ppm", "wb") as f:
        f.write(b"P6\n%d %d\n255\n" % (WIDTH, HEIGHT))
        f.write(image.tobytes())
    grey = (0.299 * image[:, :, 0] + 0.587 * image[:, :, 1] + 0.114 * image[:, :, 2]).round().astype(np.uint8)
    with open(f"{directory}/photo.pgm", "wb") as f:
        f.write(b"P5\n%d %d\n255\n" % (WIDTH, HEIGHT))
        f.write(grey.tobytes())


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else ".")
