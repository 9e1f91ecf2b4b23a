// Times what users wait for, in headless Chromium, and prints the medians of nine runs; then the
// diffusions in Node beside native code, in turns:
//
//   bench.mjs [FORM_TIMES PACKAGE]
//
// FORM_TIMES is bench/form_times of a native build, PACKAGE one of the six-colour panel. Behind each
// time stands how often a fixed piece of work fits into it, which was timed just before it, as other
// programs slow both.
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { brotliCompressSync, deflateSync, gzipSync } from "node:zlib";
import { preview } from "vite";
import { startChromium } from "./chromium.mjs";

const root = fileURLToPath(new URL("..", import.meta.url));
const median = (values) => [...values].sort((a, b) => a - b)[values.length >> 1];
const kilobytes = (bytes) => `${(bytes / 1000).toFixed(0)} KB`;

for (const name of ["oxel-simd", "oxel", "builder", "frames"])
  console.log(`${name}.wasm, gzipped: ${kilobytes(gzipSync(readFileSync(join(root, `dist/${name}.wasm`)), { level: 9 }).length)}`);

const server = await preview({ root: `${root}page`, configFile: `${root}vite.config.ts`, preview: { port: 0 } });
const [address] = server.resolvedUrls.local;
const browser = await startChromium();
const page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
const sizes = new Map();
const weigh = async (response) => {
  const bytes = await response.body().catch(() => Buffer.alloc(0));
  sizes.set(response.url(), [deflateSync(bytes).length, brotliCompressSync(bytes).length]);
};
page.on("response", weigh);
await page.goto(address);
await page.waitForSelector("#status:not(:empty)");
await page.waitForTimeout(500);
page.off("response", weigh); // which holds up this process, and with it the page's workers
const isPackage = ([url]) => url.includes(".packed");
const total = (entries, place) => kilobytes(entries.reduce((sum, [, both]) => sum + both[place], 0));
for (const [what, entries] of [["first load without packages", [...sizes].filter((entry) => !isPackage(entry))],
                               ["the built-in package", [...sizes].filter(isPackage)]])
  console.log(`${what}: ${total(entries, 0)} deflated, ${total(entries, 1)} in brotli`);

/**
 * What a user does, and how long until something new, or what is true, has been painted, for which a browser
 * waits until the screen takes the next picture; until it begins with that; and until it has been drawn.
 */
const time = (action, argument, until) => page.evaluate(async ({ action, argument, until }) => {
  const yardstick = window.yardstick();
  const done = () => until.map((name) => document.body.dataset[name]).join();
  const frame = () => new Promise((resolve) => requestAnimationFrame(resolve));
  const painted = () => new Promise((resolve) => { // messages come after what a frame begins with
    const { port1, port2 } = new MessageChannel();
    port1.onmessage = resolve;
    port2.postMessage(0);
  });
  const before = done();
  let drawn;
  const observer = new MutationObserver(() => { if (done() !== before) drawn ??= performance.now(); });
  observer.observe(document.body, { attributes: true });
  const start = performance.now();
  if (action === "slide") {
    const slider = document.getElementById("saturation");
    slider.value = argument;
    slider.dispatchEvent(new Event("input"));
  } else if (action === "crop") {
    document.getElementById("large").dispatchEvent(new KeyboardEvent("keydown", { key: "ArrowRight" }));
  } else {
    const transfer = new DataTransfer();
    transfer.items.add(new File([window.photo], "photo.jpg", { type: "image/jpeg" }));
    document.dispatchEvent(new DragEvent("drop", { dataTransfer: transfer, bubbles: true }));
  }
  do await frame(); while (done() === before); // never without one: what is drawn at once is not seen at once
  const begun = performance.now();
  await painted();
  observer.disconnect();
  return { time: performance.now() - start, begun: begun - start, drawn: drawn - start, yardstick };
}, { action, argument, until });

await page.evaluate(async () => {
  window.yardstick = () => { // without arrays, which become slower in a thread that runs WebAssembly, too
    const start = performance.now();
    let value = 1;
    for (let i = 0; i < 5e6; ++i) value = (Math.imul(value, 48271) + i) | 0;
    window.result = value;
    return performance.now() - start;
  };
  for (let i = 0; i < 5; ++i) window.yardstick(); // until it is compiled
  const canvas = new OffscreenCanvas(4000, 3000);
  const context = canvas.getContext("2d");
  for (let i = 0; i < 4000; ++i) {
    context.fillStyle = `hsl(${i % 360} ${i % 100}% ${20 + (i % 60)}%)`;
    context.fillRect((i * 977) % 4000, (i * 613) % 3000, 300, 200);
  }
  window.photo = await canvas.convertToBlob({ type: "image/jpeg" });
});
let value = 0;
async function report(what, action, until) {
  const runs = [];
  for (let run = 0; run < 12; ++run) {
    runs.push(await time(action, String(++value % 60 + 1), until));
    await page.waitForTimeout(600); // what is still under way
  }
  const nine = runs.slice(3); // the first ones compile
  const milliseconds = (of) => {
    const times = nine.map(of);
    return `${median(times).toFixed(0)} ms (${Math.min(...times).toFixed(0)} at least)`;
  };
  console.log(`${what}: ${milliseconds((run) => run.time)}, drawn after ${milliseconds((run) => run.drawn)}, ` +
              `in a frame that begins after ${milliseconds((run) => run.begun)}, ` +
              `${median(nine.map((run) => run.time / run.yardstick)).toFixed(1)} times the yardstick`);
}
const shown = ["drafts", "renders"];
await report("drop of a 12-megapixel JPEG to its first preview", "drop", shown);
await report("slider to painted, 1600 x 1200", "slide", shown);
await report("slider to true pixels, 1600 x 1200", "slide", ["renders"]);
await page.check("[name=tool][value=crop]", { force: true });
await report("crop moved to painted, 1600 x 1200", "crop", shown);
const builds = [];
for (let run = 0; run < 5; ++run) {
  await page.click("#edit-panel");
  await page.fill("#panel-width", "800");
  await page.fill("#panel-height", "480");
  const [name, before] = [`panel ${run}`, await page.getAttribute("body", "data-renders")];
  await page.fill("#panel-name", name);
  const start = performance.now();
  await page.click("#build");
  while (await page.getAttribute("body", "data-renders") === before) await page.waitForTimeout(10);
  builds.push(performance.now() - start);
  await page.waitForTimeout(15_000); // the packages themselves, for all diffusions
}
console.log(`typed colours to new preview: ${median(builds).toFixed(0)} ms`);
await report("slider to painted, 800 x 480", "slide", shown);
await report("slider to true pixels, 800 x 480", "slide", ["renders"]);
await browser.close();
server.httpServer.close();

const [program, tables] = process.argv.slice(2);
if (program) await compareWithNative(program, tables);
process.exit();

/** In processor time, the least of three renders, as form_times has it. */
async function compareWithNative(program, tables) {
  const { Panel, dithers: all } = await import("../dist/index.js");
  const dithers = all.filter((dither) => dither !== "none");
  const [width, height] = [1600, 1200];
  const data = Uint8Array.from({ length: 3 * width * height }, (_, i) =>
    128 + 100 * Math.sin(i / 3000) + (i * 7919) % 31);
  const folder = mkdtempSync(join(tmpdir(), "oxel-bench-"));
  const picture = join(folder, "picture.ppm");
  writeFileSync(picture, Buffer.concat([Buffer.from(`P6 ${width} ${height} 255\n`), data]));
  const panel = await Panel.fromPackage(readFileSync(tables));
  const milliseconds = () => process.cpuUsage().user / 1000;
  const least = (work) => Math.min(...[0, 0, 0].map(() => {
    const start = milliseconds();
    work();
    return milliseconds() - start;
  }));
  const bare = (dither) => () => panel.render({ data, width, height }, { dither, bare: true });
  for (const dither of dithers) for (let i = 0; i < 5; ++i) bare(dither)(); // until it is compiled
  // Without the copies, which a native host need not make.
  const copies = () => panel.prepare({ data, width, height }, { bare: true });
  const rounds = Array.from({ length: 25 }, () => {
    const native = execFileSync(program, [tables, picture, "128-bit vectors"], { encoding: "utf8" }).trim().split("\n").map(Number);
    const copying = least(copies);
    return dithers.map((dither, i) => ({ native: native[i], web: least(bare(dither)) - copying }));
  });
  rmSync(folder, { recursive: true });
  for (const [i, dither] of dithers.entries()) {
    const speeds = rounds.map((round) => round[i].native / round[i].web);
    const pixels = width * height / 1000 / median(rounds.map((round) => round[i].web));
    console.log(`${dither}, ${width} x ${height}, in Node: ${pixels.toFixed(0)} Mpixel/s, ` +
                `${median(speeds).toFixed(2)} of native 128-bit code`);
  }
}
