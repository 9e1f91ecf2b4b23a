import { buildPackage, describe, tunings, type BuildOptions, type PanelDescription,
         type Tuning } from "./builder.js";
import { builtIn, builtInNames } from "./built_in.js";
import { check, choose, OxelError } from "./errors.js";
import { encode, type Encoded, type EncodeOptions } from "./frames.js";
import { channelsOf, type Image, type Picture } from "./image.js";
import { instantiate, renderingModule, type Instance } from "./module.js";

/** The names of the diffusions; with `"none"` each pixel becomes what the package's tables give it. */
export const dithers = [
  "floyd", "floyd-serpentine", "jjn", "jjn-serpentine", "stucki", "stucki-serpentine", "none",
] as const;
export type Dither = (typeof dithers)[number];

/** The tuning of the package that the command renders this diffusion with. */
export function tuningFor(dither: Dither): Tuning {
  return dither === "none" ? "all" : tunings[(choose("dither", dither, dithers) >> 1) + 1]!;
}

const outputs = ["", "tcon", "nominal", "eo"] as const;
const pure = [0, 0, 0, 255, 255, 255, 255, 255, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255];
/**
 * What an output's pixels say: the controller's code three times, pure colours (panels of six), or
 * the measured ones.
 */
export type Output = "tcon" | "nominal" | "eo";

/** Which rendering a guarded render delivered. */
export type Verdict = "passed" | "shifted" | "blanked";
const verdicts: readonly Verdict[] = ["passed", "shifted", "blanked"];

/** The names of the choices of inks. */
export const inkChoices = ["auto", "measured", "nominal", "off"] as const;
export type Inks = (typeof inkChoices)[number];

/** How a picture is rendered. */
export interface RenderOptions {
  /** `"floyd-serpentine"` if nothing is said. */
  dither?: Dither;
  /** Four bytes a pixel in what is returned, for a canvas. */
  rgba?: boolean;
  /**
   * Also gives what is returned at this size, at most its own, as an eye sees it from afar: each
   * pixel the mean light of those that it covers.
   */
  reduced?: { width: number; height: number };
  /**
   * Without it (`true`), pictures are prepared: dithered onto the grid of the package's tables,
   * which shows no bands, and given rows above that are cut off again, so that the first ones are
   * not too light or dark. Bare, the library gets the bytes as they are: take a package tuned for
   * `"all"` then, as those for one diffusion want prepared pictures.
   */
  bare?: boolean;
  /**
   * Which flat areas, from 16 pixels on, are ink, and not diffused, with the smoothed edges between
   * them: those of a pure colour that the panel has an ink for, of an ink's measured colour, of
   * either (`"auto"`, if nothing is said), or none. Bare and guarded renders have no inks.
   */
  inks?: Inks;
  /**
   * Nearly the same in a fraction of the time, to be shown while something is dragged: adjusted by
   * way of a table of few colours, and without inks.
   */
  draft?: boolean;
  /** What happens to the picture first, as with the command; not if it is `bare`. */
  development?: Development;
  adjustment?: Adjustment;
}

/** Where a rendering goes. */
export interface Into {
  /** These bytes, of which there are as many as needed, instead of new ones: for those who render often. */
  into?: Uint8Array<ArrayBuffer>;
}

/** The panel's size and layout, which a package does not hold. */
export interface PanelOptions {
  name?: string;
  size?: { width: number; height: number };
  /** 1 to 5, an `Oxel_tft_mode`; 0 for none. */
  layout?: number;
  colourNames?: readonly string[];
  /** Only for tests: which module renders, instead of the fastest that runs here. */
  simd?: boolean;
}

export interface Adjustment {
  /** Degrees. */
  hue?: number;
  /** Hundredths, as brightness and contrast. */
  saturation?: number;
  brightness?: number;
  contrast?: number;
  /** 1 leaves the curve as it is. */
  gamma?: number;
}

/** What a photographer does to a picture before it is printed. Amounts are hundredths. */
export interface Development {
  clarity?: number;
  sharpen?: number;
  shadows?: number;
  highlights?: number;
  whiteBalance?: "none" | "auto" | "grey";
  autoLevels?: boolean;
  monochrome?: boolean;
}

/** Rows above a draft: a quarter of what a rendering gets, and even. */
const draftRows = 32;

/** Pixels that have their ink already, and the picture to be rendered for those beside them. */
interface Page {
  inks: number;
  apart: number; // 0 if there are none
}

type Allocate = Parameters<Parameters<Instance["scoped"]>[0]>[0];

/** The picture's bytes in the module's memory, 3 a pixel. */
function place(instance: Instance, allocate: Allocate, picture: Picture): number {
  const channels = channelsOf(picture);
  const address = allocate(picture.data);
  if (channels === 4)
    instance.call("oxel_rgb_from_rgba", address, address, picture.width * picture.height);
  return address;
}

function reduce(instance: Instance, allocate: Allocate, address: number, picture: Picture,
                size: { width: number; height: number }): Image {
  const { width, height } = size;
  for (const [own, most] of [[width, picture.width], [height, picture.height]] as const)
    if (!Number.isInteger(own) || own < 1 || own > most)
      throw new OxelError(15, `${picture.width} x ${picture.height} pixels reduced to ${width} x ${height}`);
  const start = allocate(4 * width * height);
  instance.call("oxel_reduce", address, picture.width, picture.height, width, height, start);
  return { data: instance.bytes.slice(start, start + 4 * width * height), width, height, channels: 4 };
}

function take(instance: Instance, allocate: Allocate, address: number, picture: Picture,
              options: Pick<RenderOptions, "rgba" | "reduced"> & Into = {}): Image {
  const { width, height } = picture;
  const pixels = width * height;
  const reduced = options.reduced && { reduced: reduce(instance, allocate, address, picture, options.reduced) };
  let start = address;
  if (options.rgba) {
    start = allocate(4 * pixels);
    instance.call("oxel_rgba_from_rgb", address, start, pixels);
  }
  const channels = options.rgba ? 4 : 3;
  const own = instance.bytes.subarray(start, start + channels * pixels);
  const data = options.into ?? new Uint8Array(own.length);
  if (data.length !== own.length) throw new OxelError(15, `${own.length} bytes into ${data.length}`);
  data.set(own);
  return { data, width, height, channels, ...reduced };
}

/**
 * A panel: its LUT package, in a WebAssembly instance of its own, and what its description says.
 * Works on the main thread, in a worker and in Node; calls return when they are done.
 *
 * ```ts
 * const panel = await Panel.builtin("six-colour");
 * const { tcon, eo } = panel.renderAll({ data, width: 1600, height: 1200 });
 * const { bytes } = await panel.encodeFrame(tcon, { format: "packed4" });
 * ```
 */
export class Panel {
  /** The LUT package. */
  readonly packageBytes: Uint8Array<ArrayBuffer>;
  /** The colours as measured, 3 bytes R, G, B each. */
  readonly palette: Uint8Array;
  /** The controller's code of each colour. */
  readonly codes: Uint8Array;
  readonly name: string;
  readonly size: { readonly width: number; readonly height: number } | undefined;
  readonly layout: number;
  readonly colourNames: readonly string[];
  #address = 0;
  #instance: Instance | undefined;

  private constructor(instance: Instance, packageBytes: Uint8Array<ArrayBuffer>, options: PanelOptions) {
    this.packageBytes = packageBytes;
    this.#instance = instance;
    this.name = options.name ?? "";
    this.size = options.size;
    this.layout = options.layout ?? 0;
    this.colourNames = options.colourNames ?? [];
    this.#adopt(instance);
    // Whether its tables can be used.
    instance.scoped((allocate) => {
      const pixel = allocate(new Uint8Array(3));
      check(instance.call("Oxel_Morvel6_render", pixel, 0, pixel, 0, 1, 1, 0, 1));
    });
    const view = new DataView(packageBytes.buffer, packageBytes.byteOffset);
    const [colours, palette, codes] =
      [view.getUint16(10, true), view.getUint32(12, true), view.getUint32(16, true)];
    this.palette = packageBytes.slice(palette, palette + 3 * colours);
    this.codes = packageBytes.slice(codes, codes + colours);
  }

  /**
   * The panel of a LUT package.
   *
   * @throws OxelError if it is none, is damaged, or cannot be rendered with.
   */
  static async fromPackage(bytes: Uint8Array, options: PanelOptions = {}): Promise<Panel> {
    return new Panel(await instantiate(renderingModule(options.simd)), bytes.slice(), options);
  }

  /**
   * The panel of a description: JSON text, or the same as an object. Builds its package, which
   * takes seconds: better in a worker.
   *
   * @throws PanelError that says what is wrong with the description, and where.
   */
  static async fromDescription(description: string | PanelDescription,
                               options: BuildOptions & PanelOptions = {}): Promise<Panel> {
    const described = await describe(description);
    return Panel.fromPackage(await buildPackage(description, options),
                             { ...described, ...options });
  }

  /**
   * A panel that comes with this package. The command renders each diffusion with a package that is
   * tuned for it: `tuningFor(dither)`; `"all"`, if nothing is said, is a compromise.
   *
   * @throws PanelError if there is none of this name.
   */
  static async builtin(name = "six-colour", options: PanelOptions & { tuning?: Tuning } = {}):
      Promise<Panel> {
    const tuning = tunings[choose("tuning", options.tuning ?? "all", tunings)]!;
    const { packageBytes, ...described } = await builtIn(name, tuning);
    return Panel.fromPackage(packageBytes, { ...described, ...options });
  }

  /** The names of the panels that come with this package. */
  static builtins(): readonly string[] {
    return builtInNames;
  }

  /** What the library gets to see of a picture: developed, adjusted, and dithered onto the grid. */
  prepare(picture: Picture, options: RenderOptions = {}): Image {
    return this.#prepared(picture, options, false, (instance, allocate, input) =>
      take(instance, allocate, input, picture, options));
  }

  /** Renders to one form: `"tcon"`, the controller's codes, if nothing is said. */
  render(picture: Picture, options: RenderOptions & { output?: Output } & Into = {}): Image {
    const output = choose("output", options.output ?? "tcon", outputs);
    if (options.dither === "none") return this.#renderUndiffused(picture, options, output);
    return this.#prepared(picture, options, true, (instance, allocate, input, rows, mode, page) => {
      const { width, height } = picture;
      const draw = (from: number) =>
        check(instance.call("Oxel_Morvel6_render", from, 0, from, 0, width, height + rows, mode,
                            output));
      draw(input);
      if (page?.apart) draw(page.apart);
      this.#putTogether(instance, allocate, page, picture, rows, output, page?.apart ?? 0, input);
      return take(instance, allocate, input + 3 * width * rows, picture, options);
    });
  }

  /** Renders to all three forms in the time of one; `nominal` is null unless there are six colours. */
  renderAll(picture: Picture, options: RenderOptions = {}):
      { tcon: Image; nominal: Image | null; eo: Image } {
    if (options.dither === "none") {
      const draw = (output: Output, how: RenderOptions) =>
        this.#renderUndiffused(picture, how, outputs.indexOf(output));
      const { rgba: _, reduced: __, ...codes } = options;
      return { tcon: draw("tcon", codes), nominal: this.codes.length === 6 ? draw("nominal", options) : null,
               eo: draw("eo", options) };
    }
    return this.#prepared(picture, options, true, (instance, allocate, input, rows, mode, page) => {
      const { width, height } = picture;
      const size = 3 * width * (height + rows);
      const draw = (from: number) => {
        const forms = [allocate(size), allocate(size), from] as const;
        check(instance.call("Oxel_Morvel6_render_All", from, 0, ...forms, 0, width, height + rows,
                            mode));
        return forms;
      };
      const apart = page?.apart ? draw(page.apart) : [0, 0, 0];
      const forms = draw(input);
      forms.forEach((form, i) => {
        if (i !== 1 || this.codes.length === 6)
          this.#putTogether(instance, allocate, page, picture, rows, i + 1, apart[i]!, form);
      });
      const [tcon, nominal] = forms;
      const cut = (address: number, how?: RenderOptions) =>
        take(instance, allocate, address + 3 * width * rows, picture, how);
      return {
        tcon: cut(tcon),
        nominal: this.codes.length === 6 ? cut(nominal, options) : null,
        eo: cut(input, options),
      };
    });
  }

  /**
   * Renders like `render`, unless the mix of colours changes too strongly from one pair of rows to
   * the next: then moved down by a row, and if that is no better, a blank frame.
   */
  renderGuarded(picture: Picture, threshold: number,
                options: RenderOptions & { output?: Output } = {}): { image: Image; verdict: Verdict } {
    const output = choose("output", options.output ?? "tcon", outputs);
    return this.#prepared(picture, options, false, (instance, allocate, input, _rows, mode) => {
      const result = allocate(4);
      check(instance.call("Oxel_Morvel6_render_with_powerGuard", input, 0, input, 0, picture.width,
                          picture.height, mode, output, threshold, result));
      const verdict = verdicts[instance.number(result)]!;
      return { image: take(instance, allocate, input, picture, options), verdict };
    });
  }

  /**
   * What a guarded render compares with its threshold, as `oxel guard` tells it: of the picture as it
   * is, and moved down by a row.
   */
  measure(picture: Picture, options: RenderOptions = {}): { first: number; shifted: number } {
    return this.#prepared(picture, options, false, (instance, allocate, input, _rows, mode) => {
      const { width, height } = picture;
      const measures = allocate(16);
      check(instance.call("oxel_measure", input, width, height, mode, this.codes.length, measures));
      const [first, shifted] = new Float64Array(instance.bytes.slice(measures, measures + 16).buffer);
      return { first: first!, shifted: shifted! };
    });
  }

  /**
   * The file that the panel's device takes: `tcon` is a rendering, which the panel's driving layout
   * rearranges first.
   *
   * @throws PanelError if the format cannot hold the codes.
   */
  async encodeFrame(tcon: Picture, options: EncodeOptions = {}): Promise<Encoded> {
    const laidOut = this.layout ? await transfer(tcon, this.layout) : tcon;
    return encode(laidOut, this, options);
  }

  /** Gives the memory back. The panel renders no more. */
  dispose(): void {
    this.#instance = undefined;
  }

  /** What an output's pixels are of each palette index, 3 bytes each. */
  #coloursOf(output: number): Uint8Array {
    const colours = new Uint8Array(3 * 256);
    if (outputs[output] === "eo") colours.set(this.palette.subarray(0, colours.length));
    else if (outputs[output] === "nominal") colours.set(pure);
    else this.codes.subarray(0, 256).forEach((code, i) => colours.fill(code, 3 * i, 3 * i + 3));
    return colours;
  }

  #renderUndiffused(picture: Picture, options: RenderOptions, output: number): Image {
    if (outputs[output] === "nominal" && this.codes.length !== 6) throw new OxelError(14);
    const { development = {}, adjustment = {} } = options.bare ? {} : options;
    return this.#running().scoped((allocate) => {
      const instance = this.#running();
      const data = place(instance, allocate, picture);
      check(instance.call("oxel_render_undiffused", this.#address, this.packageBytes.length, data, picture.width,
                          picture.height, allocate(allAmounts(development, adjustment)), adjustment.gamma ?? 1,
                          allocate(this.#coloursOf(output)), data));
      return take(instance, allocate, data, picture, options);
    });
  }

  #adopt(instance: Instance): void {
    const { length } = this.packageBytes;
    this.#address = instance.exports.malloc(length + 1);
    if (this.#address === 0) throw new OxelError(12);
    instance.bytes.set(this.packageBytes, this.#address);
    check(instance.call("Oxel_Morvel6_render_init", this.#address, length));
  }

  /** The instance, or a new one in place of one that a call has broken. */
  #running(): Instance {
    if (!this.#instance) throw new OxelError(6);
    if (this.#instance.broken) {
      const instance = this.#instance.renewed();
      this.#adopt(instance);
      this.#instance = instance;
    }
    return this.#instance;
  }

  /** Puts inks, and what is beside them, into a rendering to this output. */
  #putTogether(instance: Instance, allocate: Allocate, page: Page | undefined, picture: Picture,
               rows: number, output: number, apart: number, rendering: number): void {
    if (!page) return;
    const skipped = 3 * picture.width * rows;
    instance.call("oxel_put_together", page.inks, picture.width * picture.height,
                  allocate(this.#coloursOf(output)), apart && apart + skipped, rendering + skipped);
  }

  #prepared<T>(
    picture: Picture, options: RenderOptions, preroll: boolean,
    render: (instance: Instance, allocate: Allocate, input: number, rows: number, mode: number,
             page?: Page) => T,
  ): T {
    const mode = choose("dither", options.dither ?? "floyd-serpentine", dithers);
    const instance = this.#running();
    return instance.scoped((allocate) => {
      const input = place(instance, allocate, picture);
      if (options.bare) return render(instance, allocate, input, 0, mode);
      const { width, height } = picture;
      const most = preroll ? instance.call("oxel_preroll_rows", width, height) : 0;
      const rows = options.draft ? Math.min(most, draftRows) : most;
      const size = 3 * width * (height + rows);
      const prepared = allocate(size);
      const amounts = allocate(allAmounts(options.development ?? {}, options.adjustment ?? {}));
      if (options.draft) {
        check(instance.call("oxel_prepare_draft", this.#address, this.packageBytes.length, input, width, height,
                            amounts, options.adjustment?.gamma ?? 1, rows, prepared));
        return render(instance, allocate, prepared, rows, mode);
      }
      const choice = choose("inks", preroll ? options.inks ?? "auto" : "off", inkChoices);
      const sought = inkChoices[choice] !== "off";
      const [apart, inks] = sought ? [allocate(size), allocate(2 * width * height)] : [0, 0];
      const found = allocate(4);
      check(instance.call("oxel_prepare", this.#address, this.packageBytes.length, input, width, height, amounts,
                          options.adjustment?.gamma ?? 1, rows, choice, prepared, apart, inks, found));
      const areas = instance.number(found);
      return render(instance, allocate, prepared, rows, mode,
                    areas ? { inks, apart: areas > 1 ? apart : 0 } : undefined);
    });
  }
}

const whiteBalances = ["none", "auto", "grey"] as const;

function integer(what: string, value: number | undefined): number {
  if (value !== undefined && !Number.isInteger(value))
    throw new OxelError(15, `${what} ${value}: must be an integer`);
  return value ?? 0;
}

function adjustmentAmounts(amounts: Adjustment): number[] {
  return [integer("hue", amounts.hue), integer("saturation", amounts.saturation),
          integer("brightness", amounts.brightness), integer("contrast", amounts.contrast)];
}

/** As oxel_prepare takes them. */
function allAmounts(development: Development, adjustment: Adjustment): Uint8Array {
  const numbers = [
    integer("clarity", development.clarity), integer("sharpen", development.sharpen),
    integer("shadows", development.shadows), integer("highlights", development.highlights),
    choose("whiteBalance", development.whiteBalance ?? "none", whiteBalances),
    Number(development.autoLevels ?? false), Number(development.monochrome ?? false),
    ...adjustmentAmounts(adjustment)];
  return new Uint8Array(Int32Array.from(numbers).buffer);
}

let shared: Instance | undefined;

/** The instance for what needs no panel. */
async function sharedInstance(): Promise<Instance> {
  if (!shared || shared.broken) shared = await instantiate(renderingModule(undefined));
  return shared;
}

/** Adjusts a picture in hue, saturation, lightness, contrast and gamma. */
export async function adjust(picture: Picture, amounts: Adjustment,
                             options: { rgba?: boolean } = {}): Promise<Image> {
  const instance = await sharedInstance();
  return instance.scoped((allocate) => {
    const input = place(instance, allocate, picture);
    check(instance.call("Oxel_image_adjustment", input, 0, input, 0, picture.width, picture.height,
                        ...adjustmentAmounts(amounts), amounts.gamma ?? 1));
    return take(instance, allocate, input, picture, options);
  });
}

/** Rearranges a picture for a driving layout, 1 to 5; its dimensions may change. */
export async function transfer(picture: Picture, layout: number): Promise<Image> {
  const instance = await sharedInstance();
  return instance.scoped((allocate) => {
    const data = place(instance, allocate, picture);
    const size = allocate(new Uint8Array(Int32Array.of(picture.width, picture.height).buffer));
    check(instance.call("Oxel_TFT_format_transfer", data, size, size + 4, integer("layout", layout)));
    const rearranged = { data: picture.data, width: instance.number(size),
                         height: instance.number(size + 4) };
    return take(instance, allocate, data, rearranged);
  });
}
