import { choose } from "./errors.js";
import { channelsOf, type Picture } from "./image.js";
import { instantiate, system, type Instance } from "./module.js";

/** The forms of a frame's file; see the documentation of the command. */
export const frameFormats = [
  "bytes", "rgb", "packed4", "packed2", "packed1", "planes1", "png", "bmp", "c",
] as const;
export type FrameFormat = (typeof frameFormats)[number];

export interface EncodeOptions {
  /** `"bytes"`, one byte a pixel, if nothing is said. */
  format?: FrameFormat;
  gzip?: boolean;
  /** The file's name, for formats that name what they hold. */
  fileName?: string;
}

/** A frame's file, and how its name ends. */
export interface Encoded {
  bytes: Uint8Array<ArrayBuffer>;
  suffix: string;
}

interface CodedPanel {
  readonly packageBytes: Uint8Array;
  readonly colourNames: readonly string[];
}

async function stream(bytes: Uint8Array<ArrayBuffer>,
                      through: ReadableWritablePair<Uint8Array<ArrayBuffer>, BufferSource>):
    Promise<Uint8Array<ArrayBuffer>> {
  const output = new Blob([bytes]).stream().pipeThrough(through);
  return new Uint8Array(await new Response(output).arrayBuffer());
}

/** The same PNG with its pixels compressed, which the module stores as they are. */
async function deflatePng(png: Uint8Array<ArrayBuffer>, instance: Instance):
    Promise<Uint8Array<ArrayBuffer>> {
  const parts: Uint8Array<ArrayBuffer>[] = [png.slice(0, 8)];
  const view = new DataView(png.buffer);
  for (let place = 8; place < png.length; ) {
    const length = view.getUint32(place);
    const end = place + 12 + length;
    let chunk = png.slice(place, end);
    if (new TextDecoder().decode(png.subarray(place + 4, place + 8)) === "IDAT") {
      const stored = png.slice(place + 8, end - 4);
      const pixels = await stream(stored, new DecompressionStream("deflate"));
      const data = await stream(pixels, new CompressionStream("deflate"));
      chunk = new Uint8Array(12 + data.length);
      chunk.set(png.subarray(place + 4, place + 8), 4);
      chunk.set(data, 8);
      const numbers = new DataView(chunk.buffer);
      numbers.setUint32(0, data.length);
      const named = chunk.subarray(4, 8 + data.length);
      numbers.setUint32(8 + data.length, instance.scoped(
        (allocate) => instance.call("oxel_crc", allocate(named), named.length)));
    }
    parts.push(chunk);
    place = end;
  }
  return new Uint8Array(await new Blob(parts).arrayBuffer());
}

/** The file of a frame of codes. */
export async function encode(tcon: Picture, panel: CodedPanel, options: EncodeOptions):
    Promise<Encoded> {
  if (channelsOf(tcon) !== 3) throw new TypeError("a frame has three bytes a pixel");
  let instance: Instance | undefined;
  instance = await instantiate("frames", {
    wasi_snapshot_preview1: system(() => instance!.exports.memory),
  });
  const used = instance;
  const name = options.format ?? "bytes";
  const format = choose("format", name, used.names("oxel_format_name"));
  let suffix = used.text(used.call("oxel_format_suffix", format));
  const text = (value: string) => new TextEncoder().encode(`${value}\0`);
  used.scoped((allocate) => used.call(
    "oxel_encode_frame", format, 0, allocate(tcon.data as Uint8Array), tcon.width, tcon.height,
    allocate(panel.packageBytes), panel.packageBytes.length,
    allocate(text(panel.colourNames.map((colour) => `${colour}\n`).join(""))),
    allocate(text(options.fileName ?? `frame${suffix}`))));
  let bytes = used.result();
  if (name === "png") bytes = await deflatePng(bytes, used);
  if (options.gzip) {
    bytes = await stream(bytes, new CompressionStream("gzip"));
    suffix += ".gz";
  }
  return { bytes, suffix };
}
