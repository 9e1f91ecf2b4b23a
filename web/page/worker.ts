// Renders on a thread of its own: the page stays quick. See engine.ts for the other side.
import { buildPackage, describe, Panel, tuningFor, type Described, type Dither, type EncodeOptions, type Image, type Output,
         type PanelOptions, type Picture, type RenderOptions, type Tuning, type Verdict } from "../dist/index.js";

export type PanelSource =
  | { builtin: string }
  | { bytes: Uint8Array<ArrayBuffer>; options: PanelOptions }
  | { description: string; described: Described }; // whose packages come by adopt()

export interface PanelInfo {
  name: string;
  size: { width: number; height: number } | undefined;
  layout: number;
  colours: { rgb: number[]; tcon: number; name: string }[];
}

/** What the page shows. */
export type ShownOptions = RenderOptions & { dither: Dither; output: Output };

/** What the guard says only if there is one. */
export interface Shown {
  image: Image;
  verdict?: Verdict;
  measure?: { first: number; shifted: number };
}

let source: PanelSource | undefined;
const panels = new Map<Tuning, Promise<Panel>>();
const awaited = new Map<Tuning, (bytes: Uint8Array) => void>();
let picture: Picture | undefined;
let draft: Picture | undefined; // the same at the size that it is shown

/** The panel with the package for a diffusion, as the command has it; each is made once. */
function panelFor(mode: Dither): Promise<Panel> {
  const tuning = source && "bytes" in source ? "all" : tuningFor(mode); // a package is what it is
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
  const bytes = await new Promise<Uint8Array>((resolve) => awaited.set(tuning, resolve));
  return Panel.fromPackage(bytes, source.described);
}

const calls = {
  describe,
  /** Builds a package, and tells its progress. */
  build: (description: string, tuning: Tuning) =>
    buildPackage(description, { tuning, progress: (progress) => postMessage({ progress }) }),
  /** Takes a package of the description that has been opened. */
  adopt(tuning: Tuning, bytes: Uint8Array): void {
    awaited.get(tuning)?.(bytes);
    awaited.delete(tuning);
    if (!panels.has(tuning)) panels.set(tuning, Panel.fromPackage(bytes, (source as { described: Described }).described));
  },
  async open(next: PanelSource, mode: Dither): Promise<PanelInfo> {
    source = next;
    const opened = await panelFor(mode);
    return {
      name: opened.name, size: opened.size, layout: opened.layout,
      colours: [...opened.codes].map((tcon, i) => ({
        rgb: [...opened.palette.subarray(3 * i, 3 * i + 3)], tcon,
        name: opened.colourNames[i] ?? `colour ${i}`,
      })),
    };
  },
  /** Canvases' pixels, which lie on white already. */
  picture(rgba: ArrayBuffer, width: number, height: number): void {
    picture = { data: new Uint8Array(rgba), width, height };
  },
  draft(rgba: ArrayBuffer, width: number, height: number): void {
    draft = { data: new Uint8Array(rgba), width, height };
  },
  renderDraft: async (options: ShownOptions) => (await panelFor(options.dither)).render(draft!, options),
  /** The picture as the panel shows it, and what the power guard says. */
  async render(options: ShownOptions, threshold?: number): Promise<Shown> {
    const panel = await panelFor(options.dither);
    if (threshold === undefined) return { image: panel.render(picture!, options) };
    return { ...panel.renderGuarded(picture!, threshold, options), measure: panel.measure(picture!, options) };
  },
  async frame(options: ShownOptions, threshold: number | undefined, encoding: EncodeOptions) {
    const panel = await panelFor(options.dither);
    const codes = { ...options, output: "tcon", rgba: false } as const;
    const tcon = threshold === undefined ? panel.render(picture!, codes)
                                         : panel.renderGuarded(picture!, threshold, codes).image;
    return panel.encodeFrame(tcon, encoding);
  },
  package: async (mode: Dither) => (await panelFor(mode)).packageBytes.slice(),
};
export type Calls = typeof calls;

/** What a result has, which the worker needs no more. */
function buffersOf(result: unknown): ArrayBuffer[] {
  if (result instanceof Uint8Array) return [result.buffer as ArrayBuffer];
  return typeof result === "object" && result !== null ? Object.values(result).flatMap(buffersOf) : [];
}

onmessage = async ({ data: { id, name, values } }: MessageEvent) => {
  try {
    const call = calls[name as keyof Calls] as (...values: unknown[]) => unknown;
    const result = await call(...values);
    postMessage({ id, result }, { transfer: buffersOf(result) });
  } catch (error) {
    const message = error instanceof Error ? error.message : String(error);
    postMessage({ id, error: message });
  }
};
