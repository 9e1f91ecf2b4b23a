import type { Panel, Picture, RenderOptions } from "../dist/index.js";

/** Without diffusion: each pixel in the colour that the package's tables name for it. */
export function nearest(panel: Panel, picture: Picture, options: RenderOptions): Uint8Array<ArrayBuffer> {
  const tables = panel.packageBytes;
  const view = new DataView(tables.buffer);
  const [palette, gamut, indices] = [12, 20, 24].map((place) => view.getUint32(place, true));
  const cell = (bytes: Uint8Array, i: number) =>
    (bytes[i]! >> 2) << 12 | (bytes[i + 1]! >> 2) << 6 | bytes[i + 2]! >> 2;
  const { data } = panel.prepare(picture, { ...options, rgba: true });
  for (let i = 0; i < data.length; i += 4) {
    const index = tables[indices! + cell(tables, gamut! + 3 * cell(data, i))]!;
    for (let c = 0; c < 3; ++c) data[i + c] = tables[palette! + 3 * index + c]!;
  }
  return data;
}
