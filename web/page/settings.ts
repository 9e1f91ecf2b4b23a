// What the user has chosen: kept in the address, so that it can be shared, and undone step by step.
import { dithers, frameFormats, inkChoices } from "../dist/index.js";

export const sliders = [
  { name: "shadows", title: "Shadows", least: -100, most: 100, step: 1, neutral: 0 },
  { name: "highlights", title: "Highlights", least: -100, most: 100, step: 1, neutral: 0 },
  { name: "clarity", title: "Clarity", least: -100, most: 100, step: 1, neutral: 0 },
  { name: "sharpen", title: "Sharpness", least: 0, most: 200, step: 1, neutral: 0 },
  { name: "brightness", title: "Brightness", least: -50, most: 50, step: 1, neutral: 0 },
  { name: "contrast", title: "Contrast", least: -50, most: 50, step: 1, neutral: 0 },
  { name: "saturation", title: "Saturation", least: -100, most: 100, step: 1, neutral: 0 },
  { name: "hue", title: "Hue", least: -180, most: 180, step: 1, neutral: 0 },
  { name: "gamma", title: "Gamma", least: 0.3, most: 3, step: 0.05, neutral: 1 },
] as const;
export type SliderName = (typeof sliders)[number]["name"];

export const whiteBalances = ["none", "auto", "grey"] as const;

export type Settings = Record<SliderName, number> & {
  dither: (typeof dithers)[number];
  inks: (typeof inkChoices)[number];
  whiteBalance: (typeof whiteBalances)[number];
  autoLevels: boolean;
  monochrome: boolean;
  nominal: boolean; // pure colours are shown in place of the measured ones
  guard: boolean;
  threshold: number;
  format: (typeof frameFormats)[number];
  gzip: boolean;
  width: number; // of panels whose package is all that is known
  height: number;
  rotate: number; // quarters clockwise
  whole: boolean; // the whole picture, on white
  zoom: number; // 1 fills the panel
  x: number; // what lies in the middle, in parts of the picture
  y: number;
};

export const neutral: Readonly<Settings> = {
  ...(Object.fromEntries(sliders.map(({ name, neutral }) => [name, neutral])) as Record<SliderName, number>),
  dither: "floyd-serpentine", inks: "auto", whiteBalance: "none", autoLevels: false, monochrome: false, nominal: false,
  guard: false, threshold: 1, format: "bytes", gzip: false,
  width: 800, height: 480,
  rotate: 0, whole: false, zoom: 1, x: 0.5, y: 0.5,
};

const ranges: Partial<Record<keyof Settings, readonly [number, number]>> = {
  ...Object.fromEntries(sliders.map(({ name, least, most }) => [name, [least, most] as const])),
  threshold: [0, 1e9], width: [1, 8192], height: [1, 8192], rotate: [0, 3], zoom: [1, 16], x: [0, 1], y: [0, 1],
};
const lists: Partial<Record<keyof Settings, readonly string[]>> = {
  dither: dithers, inks: inkChoices, whiteBalance: whiteBalances, format: frameFormats,
};

/** Only what differs from the neutral settings. */
export function toAddress(settings: Settings): URLSearchParams {
  const address = new URLSearchParams();
  for (const [name, value] of Object.entries(settings))
    if (value !== neutral[name as keyof Settings])
      address.set(name, typeof value === "number" ? String(Math.round(value * 1e4) / 1e4) : String(value));
  return address;
}

/** Whatever else an address holds is not taken. */
export function fromAddress(address: URLSearchParams): Settings {
  const settings: Record<string, unknown> = { ...neutral };
  for (const [name, text] of address) {
    const known = neutral[name as keyof Settings];
    const range = ranges[name as keyof Settings];
    const number = Number(text);
    if (typeof known === "boolean") settings[name] = text === "true";
    else if (lists[name as keyof Settings]?.includes(text)) settings[name] = text;
    else if (range && text !== "" && number >= range[0] && number <= range[1])
      settings[name] = name === "gamma" || name === "threshold" || ["zoom", "x", "y"].includes(name)
        ? number : Math.round(number);
  }
  return settings as Settings;
}

/** The steps that were taken, for undo and redo. */
export class History {
  #steps: Settings[];
  #place = 0;

  constructor(first: Settings) {
    this.#steps = [first];
  }
  get canUndo() { return this.#place > 0; }
  get canRedo() { return this.#place + 1 < this.#steps.length; }
  add(settings: Settings): void {
    if (JSON.stringify(settings) === JSON.stringify(this.#steps[this.#place])) return;
    this.#steps.splice(++this.#place, Infinity, { ...settings });
  }
  move(by: 1 | -1): Settings {
    this.#place = Math.min(Math.max(this.#place + by, 0), this.#steps.length - 1);
    return { ...this.#steps[this.#place]! };
  }
}
