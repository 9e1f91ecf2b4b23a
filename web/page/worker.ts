// Renders on a thread of its own: the page stays quick. See engine.ts for the other side.
import { Panel, tuningFor, type Dither, type EncodeOptions,
         type PanelOptions, type RenderOptions, type Tuning } from "../dist/index.js";
import { nearest } from "./nearest.js";

export type Mode = Dither | "none";
export type PanelSource =
  | { builtin: string }
  | { bytes: Uint8Array<ArrayBuffer>; options: PanelOptions }
  | { description: string };

export interface PanelInfo {
  name: string;
  size: { width: number; height: number } | undefined;
  layout: number;
  colours: { rgb: number[]; tcon: number; name: string }[];
}

let source: PanelSource | undefined;
let panels = new Map<Tuning, Promise<Panel>>();
let picture: { data: Uint8Array; width: number; height: number } | undefined;

const tuningOf = (mode: Mode): Tuning => tuningFor(mode === "none" ? "floyd" : mode);

/** The panel with the package for a diffusion, as the command has it; each is made once. */
function panelFor(mode: Mode): Promise<Panel> {
  const tuning = source && "bytes" in source ? "all" : tuningOf(mode); // a package is what it is
  let panel = panels.get(tuning);
  if (!panel) {
    panel = open(source!, tuning);
    panels.set(tuning, panel);
    panel.catch(() => panels.delete(tuning));
  }
  return panel;
}

async function open(source: PanelSource, tuning: Tuning): Promise<Panel> {
  if ("builtin" in source) return Panel.builtin(source.builtin, { tuning });
  if ("bytes" in source) return Panel.fromPackage(source.bytes, source.options);
  const panel = await Panel.fromDescription(source.description, {
    tuning, progress: (share) => postMessage({ progress: share }),
  });
  postMessage({ progress: undefined });
  return panel;
}

const calls = {
  async open(next: PanelSource, mode: Mode): Promise<PanelInfo> {
    source = next;
    panels = new Map();
    const opened = await panelFor(mode);
    return {
      name: opened.name, size: opened.size, layout: opened.layout,
      colours: [...opened.codes].map((tcon, i) => ({
        rgb: [...opened.palette.subarray(3 * i, 3 * i + 3)], tcon,
        name: opened.colourNames[i] ?? `colour ${i}`,
      })),
    };
  },
  picture(rgba: ArrayBuffer, width: number, height: number): void {
    const pixels = new Uint8Array(rgba); // which lie on white already
    const data = new Uint8Array(3 * width * height);
    for (let from = 0, to = 0; from < pixels.length; from += 4, to += 3) {
      data[to] = pixels[from]!;
      data[to + 1] = pixels[from + 1]!;
      data[to + 2] = pixels[from + 2]!;
    }
    picture = { data, width, height };
  },
  /** The picture as the panel shows it, 4 bytes a pixel. */
  async render(mode: Mode, options: RenderOptions, threshold?: number) {
    const panel = await panelFor(mode);
    if (mode === "none")
      return { data: nearest(panel, picture!, options), verdict: undefined };
    if (threshold === undefined)
      return { data: panel.render(picture!, { ...options, dither: mode, output: "eo", rgba: true }).data,
               verdict: undefined };
    const { image, verdict } = panel.renderGuarded(
      picture!, threshold, { ...options, dither: mode, output: "eo", rgba: true });
    return { data: image.data, verdict };
  },
  async frame(mode: Dither, options: RenderOptions, threshold: number | undefined,
              encoding: EncodeOptions) {
    const panel = await panelFor(mode);
    const tcon = threshold === undefined
      ? panel.render(picture!, { ...options, dither: mode })
      : panel.renderGuarded(picture!, threshold, { ...options, dither: mode }).image;
    return panel.encodeFrame(tcon, encoding);
  },
  package: async (mode: Mode) => (await panelFor(mode)).packageBytes.slice(),
};
export type Calls = typeof calls;

onmessage = async ({ data: { id, name, values } }: MessageEvent) => {
  try {
    const call = calls[name as keyof Calls] as (...values: unknown[]) => unknown;
    const result = await call(...values);
    const data = (result as { data?: Uint8Array } | undefined)?.data;
    postMessage({ id, result }, { transfer: data ? [data.buffer as ArrayBuffer] : [] });
  } catch (error) {
    const message = error instanceof Error ? error.message : String(error);
    postMessage({ id, error: message });
  }
};
