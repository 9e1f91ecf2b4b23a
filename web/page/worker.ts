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

/** A package that is awaited until it is adopted. */
class Awaited {
  adopt!: (bytes: Uint8Array) => void;
  readonly panel: Promise<Panel>;
  constructor(described: Described) {
    this.panel = new Promise<Uint8Array>((resolve) => { this.adopt = resolve; })
      .then((bytes) => Panel.fromPackage(bytes, described));
    this.panel.catch(() => {}); // whoever asks for it is told
  }
}

let source: PanelSource | undefined;
const panels = new Map<Tuning, Promise<Panel>>();
const awaited = new Map<Tuning, Awaited>();
const built = new Set<Tuning>(); // of those, which have come
let rough: Panel | undefined; // to look at as long as a package is being built
let picture: Picture | undefined;
let draft: Picture | undefined; // the same at the size that it is shown

/** A package is what it is. */
const tuningOf = (mode: Dither): Tuning => (source && "bytes" in source ? "all" : tuningFor(mode));

/** The panel with the package of this tuning; each is made once. */
function panelWith(tuning: Tuning): Promise<Panel> {
  let panel = panels.get(tuning);
  if (!panel) {
    panel = open(source!, tuning);
    panels.set(tuning, panel);
    panel.catch(() => panels.delete(tuning));
  }
  return panel;
}

/** The panel with the package for a diffusion, as the command has it. */
const panelFor = (mode: Dither) => panelWith(tuningOf(mode));

/** The same to look at: roughly right, until the right one is there. */
const shownFor = (mode: Dither): Panel | Promise<Panel> =>
  (rough && !built.has(tuningOf(mode)) ? rough : panelFor(mode));

function awaitedFor(tuning: Tuning): Awaited {
  let package_ = awaited.get(tuning);
  if (!package_) awaited.set(tuning, package_ = new Awaited((source as { described: Described }).described));
  return package_;
}

function open(source: PanelSource, tuning: Tuning): Promise<Panel> {
  if ("builtin" in source) return Panel.builtin(source.builtin, { tuning });
  if ("bytes" in source) return Panel.fromPackage(source.bytes, source.options);
  return awaitedFor(tuning).panel;
}

const calls = {
  describe,
  /** Builds a package, roughly or as it should be, and tells its progress. */
  build: (description: string, tuning: Tuning, rough: boolean) =>
    buildPackage(description, { tuning, rough, progress: (progress) => postMessage({ progress }) }),
  /** Takes a package of the description that has been opened. */
  async adopt(tuning: Tuning, bytes: Uint8Array): Promise<void> {
    awaitedFor(tuning).adopt(bytes);
    await panelWith(tuning);
    built.add(tuning);
  },
  async open(next: PanelSource, mode: Dither, roughly?: Uint8Array): Promise<PanelInfo> {
    source = next;
    if (roughly) rough = await Panel.fromPackage(roughly, (next as { described: Described }).described);
    const opened = await shownFor(mode);
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
  /** Also tells how many milliseconds it took, and of which package, if this is asked for. */
  async renderDraft(options: ShownOptions, withPackage: boolean) {
    const panel = await shownFor(options.dither);
    const start = performance.now();
    const image = panel.render(draft!, options);
    const took = performance.now() - start;
    return { image, took, bytes: withPackage ? panel.packageBytes.slice() : undefined };
  },
  /** The picture as the panel shows it, and what the power guard says. */
  async render(options: ShownOptions, threshold?: number): Promise<Shown> {
    const panel = await shownFor(options.dither);
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
