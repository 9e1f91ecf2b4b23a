import type { Image, Panel, Picture, RenderOptions } from "../dist/index.js";

/** Without diffusion: each pixel in the colour that the package's tables name for it. */
export function nearest(panel: Panel, picture: Picture, options: RenderOptions,
                        output: "eo" | "nominal"): Image {
  const tables = panel.packageBytes;
  const view = new DataView(tables.buffer);
  const [gamut, indices] = [20, 24].map((place) => view.getUint32(place, true));
  const cell = (bytes: Uint8Array, i: number) =>
    (bytes[i]! >> 2) << 12 | (bytes[i + 1]! >> 2) << 6 | bytes[i + 2]! >> 2;
  const pure = [0, 0, 0, 255, 255, 255, 255, 255, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255];
  const colours = output === "eo" ? panel.palette : pure;
  const { reduced: _, ...bare } = options;
  const image = panel.prepare(picture, { ...bare, rgba: true });
  const { data } = image;
  for (let i = 0; i < data.length; i += 4) {
    const index = tables[indices! + cell(tables, gamut! + 3 * cell(data, i))]!;
    for (let c = 0; c < 3; ++c) data[i + c] = colours[3 * index + c]!;
  }
  return image;
}
