import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { gunzipSync, inflateSync } from "node:zlib";
import { describe as group, expect, test } from "vitest";
import * as oxelPackage from "../dist/index.js";
import { adjust, buildPackage, describe, dithers, frameFormats, inkChoices, Panel, transfer, tuningFor } from
  "../dist/index.js";
import { instantiate } from "../dist/module.js";
import { bytesOf, folder, oxel, picture, ppm, run, same } from "./command.js";

const photo = picture(320, 201);
const file = ppm("photo.ppm", photo);
const six = fileURLToPath(new URL("../../tools/panels/six-colour.json", import.meta.url));
const render = (output: string, ...options: string[]) =>
  run(oxel, "render", file, "--panel", "six-colour", "--size", "320x201", "-o", output, ...options);

/** What is left of a frame's file without its compression, which may differ. */
function content(name: string, bytes: Buffer): Buffer[] {
  if (name !== "png") return [bytes];
  const chunks: Buffer[] = [];
  for (let place = 8; place < bytes.length; ) {
    const end = place + 12 + bytes.readUInt32BE(place);
    const data = bytes.subarray(place + 8, end - 4);
    chunks.push(bytes.toString("latin1", place + 4, place + 8) === "IDAT" ? inflateSync(data) : data);
    place = end;
  }
  return chunks;
}

group.each([true, false])("renders with SIMD %s", (simd) => {
  test("the bytes of the command, in every diffusion", async () => {
    for (const dither of dithers) {
      const panel = await Panel.builtin("six-colour", { simd, tuning: tuningFor(dither) });
      render("frame.rgb", "--dither", dither, "--frame", "rgb", "--preview", "preview.png");
      const all = panel.renderAll(photo, { dither });
      expect(bytesOf("frame.rgb").equals(all.tcon.data), dither).toBe(true);
      for (const output of ["tcon", "eo", "nominal"] as const)
        expect(same(panel.render(photo, { dither, output }).data, all[output]!.data), `${dither} ${output}`).toBe(true);
    }
    const panel = await Panel.builtin("six-colour", { simd, tuning: "floyd" });
    for (const inks of inkChoices) {
      render("inks.rgb", "--frame", "rgb", "--inks", inks);
      expect(bytesOf("inks.rgb").equals(panel.render(photo, { inks }).data), inks).toBe(true);
    }
    render("bare.rgb", "--frame", "rgb", "--no-prepare");
    const general = await Panel.builtin("six-colour", { simd });
    expect(bytesOf("bare.rgb").equals(general.render(photo, { bare: true }).data)).toBe(true);
  });

  test("adjusts, develops and guards as the command does", async () => {
    const panel = await Panel.builtin("six-colour", { simd, tuning: "floyd" });
    render("guarded.rgb", "--frame", "rgb", "--guard", "0.02");
    const guarded = panel.renderGuarded(photo, 0.02);
    expect(bytesOf("guarded.rgb").equals(guarded.image.data)).toBe(true);
    render("adjusted.rgb", "--frame", "rgb", "--hue", "20", "--saturation", "30", "--gamma", "1.3");
    const adjustment = { hue: 20, saturation: 30, gamma: 1.3 };
    expect(bytesOf("adjusted.rgb").equals(panel.render(photo, { adjustment }).data)).toBe(true);
    expect(same(panel.render(await adjust(photo, adjustment)).data, panel.render(photo, { adjustment }).data)).toBe(true);
    render("developed.rgb", "--frame", "rgb", "--clarity", "40", "--sharpen", "50", "--shadows", "30",
           "--highlights", "-20", "--white-balance", "auto", "--auto-levels", "--contrast", "10");
    const developed = panel.render(photo, {
      development: { clarity: 40, sharpen: 50, shadows: 30, highlights: -20, whiteBalance: "auto",
                     autoLevels: true },
      adjustment: { contrast: 10 },
    });
    expect(bytesOf("developed.rgb").equals(developed.data)).toBe(true);
    const [line] = run(oxel, "guard", file, "--panel", "six-colour", "--size", "320x201", "--json").split("\n");
    expect({ dither: "floyd", ...panel.measure(photo, { dither: "floyd" }) }).toEqual(JSON.parse(line!));
    expect(guarded.verdict).not.toBe(panel.renderGuarded(photo, 1e9).verdict);
  });
});

test("pictures of four bytes lie over white and come back with alpha", async () => {
  const panel = await Panel.builtin();
  const rgba = { data: new Uint8ClampedArray([250, 0, 0, 255, 0, 0, 0, 0, 9, 9, 9, 0]), width: 3, height: 1 };
  const rgb = { data: new Uint8Array([250, 0, 0, 255, 255, 255, 255, 255, 255]), width: 3, height: 1 };
  const into = new Uint8Array(12);
  const { data } = panel.render(rgba, { output: "eo", rgba: true, into });
  expect(data).toBe(into);
  expect(() => panel.render(rgba, { into })).toThrow(/9 bytes into 12/);
  const expected = panel.render(rgb, { output: "eo" }).data;
  for (let i = 0; i < 3; ++i)
    expect([...data.subarray(4 * i, 4 * i + 4)]).toEqual([...expected.subarray(3 * i, 3 * i + 3), 255]);
});

test("reduced, a rendering keeps its light", async () => {
  const panel = await Panel.builtin("six-colour", { tuning: "floyd" });
  const flat = { ...photo, data: new Uint8Array(photo.data.length).fill(120) };
  const light = (bytes: Uint8Array, channels: number) => {
    const values = [...bytes].filter((_, i) => i % channels === 1).map((byte) => ((byte / 255 + 0.055) / 1.055) ** 2.4);
    return values.reduce((sum, value) => sum + value) / values.length;
  };
  const { data, reduced } = panel.render(flat, { output: "eo", reduced: { width: 97, height: 60 } });
  expect([reduced!.width, reduced!.height, reduced!.data.length]).toEqual([97, 60, 4 * 97 * 60]);
  expect(light(reduced!.data, 4) / light(data, 3)).toBeCloseTo(1, 2);
  const whole = panel.render(photo, { output: "eo", rgba: true, reduced: { width: 320, height: 201 } });
  expect(same(whole.reduced!.data, whole.data)).toBe(true);
  expect(() => panel.render(photo, { reduced: { width: 321, height: 9 } })).toThrow(/321/);
});

/** How far the light of 64 flat patches is apart in two renderings: in bytes, the mean and the most. */
async function apart(one: Panel, other: Panel, options: oxelPackage.RenderOptions, otherOptions = options) {
  const patches = { data: new Uint8Array(3 * 512 * 512), width: 512, height: 512 };
  for (let i = 0; i < 512 * 512; ++i) {
    const patch = (i >> 6) & 7 | (i >> 15) << 3;
    patches.data.set([(patch & 3) * 85, (patch >> 2 & 3) * 85, (patch >> 4) * 85], 3 * i);
  }
  const how = { inks: "off", output: "eo", reduced: { width: 8, height: 8 } } as const;
  const [a, b] = [one.render(patches, { ...how, ...options }), other.render(patches, { ...how, ...otherOptions })]
    .map(({ reduced }) => reduced!.data);
  const differences = [...a!].map((byte, i) => Math.abs(byte - b![i]!)).filter((_, i) => i % 4 < 3);
  return { mean: differences.reduce((sum, value) => sum + value) / differences.length, most: Math.max(...differences) };
}

// The texture of the wide kernels' tables is missing in rough ones, and mixed less evenly by drafts.
test.each([["floyd", 2, 10], ["jjn", 4, 45]] as const)("drafts and rough packages show nearly the same, %s", async (dither, mean, most) => {
  const right = await Panel.builtin("six-colour", { tuning: dither });
  const rough = await Panel.fromPackage(await buildPackage(readFileSync(six, "utf8"), { tuning: dither, rough: true }));
  expect(same(rough.packageBytes, right.packageBytes)).toBe(false);
  const fromRough = await apart(right, rough, { dither });
  expect(fromRough.mean).toBeLessThan(mean);
  expect(fromRough.most).toBeLessThan(most);
  const options = { dither, adjustment: { brightness: 30, gamma: 1.3 }, development: { shadows: 40 } } as const;
  const fromDraft = await apart(right, right, options, { ...options, draft: true } as typeof options);
  expect(fromDraft.mean).toBeLessThan(2);
  expect(fromDraft.most).toBeLessThan(most);
  for (const left of ["adjustment", "development"] as const) // both are seen
    expect((await apart(right, right, options, { ...options, [left]: {}, draft: true } as typeof options)).mean).toBeGreaterThan(4);
});

test("what was drafted before leaves no trace in a draft", async () => {
  const [used, options] = [await Panel.builtin(), { draft: true, output: "eo" }] as const;
  const other = { ...photo, data: photo.data.slice() };
  other.data[3 * 320 * 200]! ^= 0x40; // in the last row, which the pixels before do not show
  const turned = { data: photo.data, width: photo.height, height: photo.width };
  for (const picture of [other, photo, turned, photo])
    for (const how of [{ adjustment: { hue: 40 } }, { development: { shadows: 30 } }, { adjustment: { gamma: 1.4 } }, {}])
      expect(same(used.render(picture, { ...options, ...how }).data,
                  (await Panel.builtin()).render(picture, { ...options, ...how }).data)).toBe(true);
});

test("the heap gives whole pieces, and joins what comes back", async () => {
  const { exports } = await instantiate("oxel");
  const bytes = () => new Uint8Array(exports.memory.buffer);
  const held: { address: number; size: number; mark: number }[] = [];
  let random = 1;
  const below = (limit: number) => (random = (random * 48271) % 0x7fffffff) % limit;
  let grown = 0;
  for (let round = 0; round < 20_000; ++round) {
    if (round === 10_000) grown = bytes().length;
    if (below(2) && held.length < 50) {
      const piece = { size: below(below(9) ? 300 : 200_000), mark: round % 255 + 1, address: 0 };
      piece.address = exports.malloc(piece.size);
      expect(piece.address % 16).toBe(0);
      bytes().fill(piece.mark, piece.address, piece.address + piece.size);
      held.push(piece);
    } else if (held.length) {
      const { address, size, mark } = held.splice(below(held.length), 1)[0]!;
      expect(bytes().subarray(address, address + size).every((byte) => byte === mark)).toBe(true);
      exports.free(address);
    }
  }
  expect(bytes().length).toBeLessThan(grown * 1.3);
  for (const { address } of held) exports.free(address);
  const before = bytes().length;
  expect(exports.malloc(before - 1_300_000)).toBeGreaterThan(0); // all but stack and data in one piece
  expect(bytes().length).toBe(before);
  expect(exports.malloc(0xfffffff0)).toBe(0);
});

test("after a trap the panel renders as before", async () => {
  const { Instance } = await import(new URL("../dist/module.js", import.meta.url).href);
  const panel = await Panel.builtin();
  const before = panel.render(photo);
  const { call } = Instance.prototype;
  Instance.prototype.call = function (name: string, ...values: number[]) {
    return call.call(this, name, ...(name === "oxel_prepare" ? [...values.slice(0, 2), 0x7fff0000, ...values.slice(3)] : values)); // beyond its memory
  };
  expect(() => panel.render(photo)).toThrow(expect.objectContaining({ code: "OXEL_OUT_OF_MEMORY" }));
  Instance.prototype.call = call;
  expect(same(panel.render(photo).data, before.data)).toBe(true);
});

test("frames in every format, compressed too", async () => {
  const panel = await Panel.builtin("six-colour", { tuning: "floyd" });
  const { tcon } = panel.renderAll(photo);
  for (const format of frameFormats) {
    const encode = () => panel.encodeFrame(tcon, { format, fileName: "a frame" });
    if (format === "packed1" || format === "packed2") {
      await expect(encode()).rejects.toThrow(/more than|needs|bits/);
      continue;
    }
    render("a frame", "--frame", format);
    const { bytes } = await encode();
    const [own, right] = [content(format, Buffer.from(bytes)), content(format, bytesOf("a frame"))];
    expect(own.map((part, i) => same(part, right[i]!)), format).toEqual(right.map(() => true));
    const zipped = await panel.encodeFrame(tcon, { format, fileName: "a frame", gzip: true });
    expect(zipped.suffix).toMatch(/\.gz$/);
    expect(gunzipSync(zipped.bytes).equals(bytes)).toBe(true);
  }
  const laidOut = await Panel.builtin("six-colour", { layout: 4 });
  const even = { data: photo.data.subarray(0, 3 * 320 * 200), width: 320, height: 200 };
  const tall = await transfer(laidOut.render(even), 4);
  expect([tall.width, tall.height]).toEqual([160, 400]);
  const { bytes } = await laidOut.encodeFrame(laidOut.render(even), { format: "rgb" });
  expect(Buffer.from(bytes).equals(tall.data)).toBe(true);
});

test("packages of the command, with progress", async () => {
  const inks = { name: "three inks", colours: [
    { name: "black", lab: [15, 2, -3], tcon: 0 }, { name: "white", rgb: [180, 182, 170], tcon: 1 },
    { name: "red", rgb: [140, 30, 30], tcon: 4 }] } satisfies oxelPackage.PanelDescription;
  writeFileSync(join(folder, "inks.json"), JSON.stringify(inks));
  run(oxel, "package", "build", "inks.json", "-o", "panel.lut", "--intent", "vivid");
  const shares: number[] = [];
  const built = await buildPackage(inks, { intent: "vivid", progress: (share) => shares.push(share) });
  expect(same(bytesOf("panel.lut"), built)).toBe(true);
  expect([shares[0], shares.at(-1)]).toEqual([0, 1]);
  expect(shares).toEqual([...shares].sort((a, b) => a - b));
  run(oxel, "package", "build", six, "-o", "panel.lut", "--intent", "perceptual");
  expect(same((await Panel.builtin()).packageBytes, bytesOf("panel.lut"))).toBe(true); // built by this module, too
  const described = await describe(inks);
  expect(described.colours![1]).toEqual({ rgb: [180, 182, 170], tcon: 1 });
});

test("errors have the library's names and say what is wrong", async () => {
  const panel = await Panel.builtin();
  const damaged = panel.packageBytes.slice();
  damaged[5000]! ^= 1;
  const code = (code: string) => expect.objectContaining({ name: "OxelError", code });
  await expect(Panel.fromPackage(damaged)).rejects.toEqual(code("OXEL_BAD_PACKAGE_CRC"));
  await expect(Panel.fromPackage(damaged.slice(0, 20))).rejects.toEqual(code("OXEL_BAD_PACKAGE_LENGTH"));
  const bad = (call: () => unknown) => { try { call(); } catch (error) { return error; } };
  expect(bad(() => panel.render({ ...photo, width: 321 }))).toEqual(code("OXEL_BAD_ARGUMENT"));
  expect(bad(() => panel.render(photo, { dither: "atkinson" as "jjn" }))).toEqual(code("OXEL_BAD_SELECTOR"));
  await expect(transfer(photo, 9)).rejects.toEqual(code("OXEL_BAD_SELECTOR"));
  expect(bad(() => panel.render(photo, { development: { whiteBalance: "sepia" as "grey" } })))
    .toEqual(code("OXEL_BAD_SELECTOR"));
  await expect(Panel.builtin("paper")).rejects.toThrow(/six-colour/);
  await expect(describe("{")).rejects.toThrow(/parse error|JSON/);
  await expect(buildPackage({ name: "x", colours: [] })).rejects.toThrow(/2 to 256/);
  panel.dispose();
  expect(bad(() => panel.render(photo))).toEqual(code("OXEL_NOT_INITIALISED"));
});

test("what npm packs works in an empty folder", () => {
  const root = fileURLToPath(new URL("..", import.meta.url));
  const [{ filename }] = JSON.parse(run("npm", "pack", root, "--json", "--ignore-scripts"));
  const empty = join(folder, "empty");
  mkdirSync(empty);
  run("npm", "install", "--prefix", empty, "--offline", "--no-audit", "--no-fund", join(folder, filename));
  writeFileSync(join(empty, "use.mjs"), `
    import { Panel } from "oxel";
    const panel = await Panel.builtin();
    const { tcon } = panel.renderAll({ data: new Uint8Array(3 * 64).fill(255), width: 8, height: 8 });
    console.log(new Set(tcon.data).has(1), (await panel.encodeFrame(tcon, { format: "packed4" })).bytes.length);`);
  expect(run("node", join(empty, "use.mjs"))).toBe("true 32\n");
});
