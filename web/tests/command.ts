import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import type { Picture } from "../dist/index.js";

/** The command that shows what is right. */
export const oxel = process.env.OXEL ?? fileURLToPath(new URL("../../build/test/oxel", import.meta.url));

export const folder = mkdtempSync(join(tmpdir(), "oxel-web-"));

export function run(program: string, ...args: string[]): string {
  return execFileSync(program, args, { cwd: folder, encoding: "utf8",
                                       stdio: ["ignore", "pipe", "pipe"] });
}

/** Slopes with flat squares of pure colours and of inks. */
export function picture(width: number, height: number): Picture {
  const data = new Uint8Array(3 * width * height);
  const flat = [[255, 0, 0], [33, 32, 37], [255, 255, 255], [165, 168, 162]];
  for (let y = 0, i = 0; y < height; ++y)
    for (let x = 0; x < width; ++x, i += 3) {
      const slope = [(255 * x) / width, (255 * y) / height, (255 * (x + y)) / (width + height)];
      data.set(x % 97 < 8 && y % 53 < 9 ? flat[(x + y) >> 5 & 3]! : slope, i);
    }
  return { data, width, height };
}

export function ppm(name: string, { data, width, height }: Picture): string {
  const path = join(folder, name);
  writeFileSync(path, Buffer.concat([Buffer.from(`P6 ${width} ${height} 255\n`), Buffer.from(data)]));
  return path;
}

export const bytesOf = (name: string) => readFileSync(join(folder, name));

/** Whether bytes are the same; vitest's own comparison takes seconds for those of a picture. */
export const same = (one: Uint8Array | Uint8ClampedArray, other: Uint8Array | Uint8ClampedArray) =>
  Buffer.from(one.buffer, one.byteOffset, one.length).equals(new Uint8Array(other));
