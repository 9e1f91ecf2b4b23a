import { OxelError } from "./errors.js";

/**
 * A picture: rows from the top, pixels from the left, 3 bytes R, G, B or 4 bytes R, G, B, A a pixel
 * in sRGB. An `ImageData` is one, too, and so is what sharp's `raw()` gives with its `info`.
 */
export interface Picture {
  readonly data: Uint8Array | Uint8ClampedArray;
  readonly width: number;
  readonly height: number;
}

/** What the functions here return: 3 bytes a pixel, or 4 if `rgba` was asked for. */
export interface Image extends Picture {
  readonly data: Uint8Array<ArrayBuffer>;
  readonly channels: 3 | 4;
  /** If a size was asked for: the same reduced to it, 4 bytes a pixel. */
  readonly reduced?: Image;
}

/** 3 or 4. */
export function channelsOf(picture: Picture): 3 | 4 {
  const { data, width, height } = picture;
  for (const length of [width, height])
    if (!Number.isInteger(length) || length < 1)
      throw new OxelError(15, `a picture of ${width} x ${height} pixels`);
  if (3 * width * height >= 2 ** 31) throw new OxelError(15);
  for (const channels of [3, 4] as const)
    if (data.length === channels * width * height) return channels;
  throw new OxelError(
    15, `${data.length} bytes for ${width} x ${height} pixels: must be 3 or 4 a pixel`);
}
