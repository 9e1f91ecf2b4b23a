import { choose } from "./errors.js";
import { instantiate, system, type Instance } from "./module.js";

/** A panel description, as in its JSON file; see the documentation of descriptions. */
export interface PanelDescription {
  name: string;
  width?: number;
  height?: number;
  tft_layout?: number;
  colours: ({ name: string; tcon: number } & (
    { rgb: readonly [number, number, number] } | { lab: readonly [number, number, number] }))[];
}

/** What a description says. */
export interface Described {
  name: string;
  size?: { width: number; height: number };
  layout: number;
  colourNames: string[];
  /** As bytes of sRGB. */
  colours?: { rgb: [number, number, number]; tcon: number }[];
  /** What is unusual in it, a line each. */
  warnings?: string[];
}

export const intents = ["perceptual", "vivid", "absolute"] as const;
export type Intent = (typeof intents)[number];
export const tunings = ["all", "floyd", "jjn", "stucki"] as const;
export type Tuning = (typeof tunings)[number];

export interface BuildOptions {
  /** What happens to colours that the panel cannot show. */
  intent?: Intent;
  /** The diffusions that a package's colours are right for. */
  tuning?: Tuning;
  /**
   * About the same package in a tenth of the time, to look at while the other one is built. It is
   * not the command's.
   */
  rough?: boolean;
  /** Called with the share of the work that is done, from 0 to 1. */
  progress?: (share: number) => void;
}

async function openDescription(description: string | PanelDescription,
                               progress: (share: number) => void = () => {}):
    Promise<{ instance: Instance; warnings: string[] }> {
  const warnings: string[] = [];
  let instance: Instance | undefined;
  const memory = () => instance!.exports.memory;
  instance = await instantiate("builder", {
    oxel: { progress },
    wasi_snapshot_preview1: system(memory, (text) => warnings.push(text.trim())),
  });
  const text = typeof description === "string" ? description : JSON.stringify(description);
  const opened = instance;
  opened.scoped((allocate) => {
    const json = new TextEncoder().encode(text);
    opened.call("oxel_describe", allocate(json), json.length);
  });
  return { instance, warnings };
}

/**
 * Reads a panel description: JSON text, or the same as an object.
 *
 * @throws PanelError that says what is wrong with it, and where.
 */
export async function describe(description: string | PanelDescription): Promise<Described> {
  const { instance, warnings } = await openDescription(description);
  const [width, height, layout] = [0, 1, 2].map((field) => instance.call("oxel_described", field));
  const [name, ...colourNames] = instance.names("oxel_name");
  const bytes = instance.result();
  return {
    name: name!,
    ...(width ? { size: { width, height: height! } } : {}),
    layout: layout!,
    colourNames,
    colours: colourNames.map((_, i) => {
      const [r, g, b, tcon] = bytes.subarray(4 * i, 4 * i + 4);
      return { rgb: [r!, g!, b!], tcon: tcon! };
    }),
    warnings: warnings.join("").split("\n").filter(Boolean),
  };
}

/**
 * Builds the LUT package of a panel description, the same bytes as `oxel package build`. It takes
 * seconds: better in a worker.
 *
 * @throws PanelError that says what is wrong with the description, and where.
 */
export async function buildPackage(description: string | PanelDescription,
                                   options: BuildOptions = {}): Promise<Uint8Array<ArrayBuffer>> {
  const { instance } = await openDescription(description, options.progress);
  instance.call(
    "oxel_build",
    choose("intent", options.intent ?? "perceptual", intents),
    choose("tuning", options.tuning ?? "all", tunings),
    Number(options.rough ?? false));
  return instance.result();
}
