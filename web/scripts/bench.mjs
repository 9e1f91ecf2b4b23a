// Times what users wait for, in headless Chromium, and prints the medians of five runs: bench.mjs
import { deflateSync } from "node:zlib";
import { chromium } from "playwright-core";
import { preview } from "vite";
import { fileURLToPath } from "node:url";

const root = fileURLToPath(new URL("..", import.meta.url));
const server = await preview({ root: `${root}page`, configFile: `${root}vite.config.ts`, preview: { port: 0 } });
const [address] = server.resolvedUrls.local;
const browser = await chromium.launch({ executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium", args: ["--no-sandbox"] });
const page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
let transferred = 0;
page.on("response", async (response) => {
  const bytes = await response.body().catch(() => Buffer.alloc(0));
  transferred += deflateSync(bytes).length;
});
await page.goto(address);
const settled = () => page.waitForSelector("#status:not(:empty)");
await settled();
await page.waitForTimeout(500);
console.log(`first load, deflated, with the built-in package: ${Math.round(transferred / 1000)} KB`);

const median = (times) => times.sort((a, b) => a - b)[times.length >> 1].toFixed(0);
/** Milliseconds from an action in the page to the next painted rendering. */
const time = (action) => page.evaluate(async ({ action, argument }) => {
  const renders = () => document.body.dataset.renders;
  const painted = () => new Promise((resolve) => requestAnimationFrame(() => resolve()));
  const before = renders();
  const start = performance.now();
  if (action === "slide") {
    const slider = document.getElementById("saturation");
    slider.value = argument;
    slider.dispatchEvent(new Event("input"));
  } else {
    const transfer = new DataTransfer();
    transfer.items.add(new File([window.photo], "photo.jpg", { type: "image/jpeg" }));
    window.start = performance.now();
    document.dispatchEvent(new DragEvent("drop", { dataTransfer: transfer, bubbles: true }));
  }
  while (renders() === before) await painted();
  return performance.now() - (action === "slide" ? start : window.start);
}, action);

await page.evaluate(async () => {
  const canvas = new OffscreenCanvas(4000, 3000);
  const context = canvas.getContext("2d");
  for (let i = 0; i < 4000; ++i) {
    context.fillStyle = `hsl(${i % 360} ${i % 100}% ${20 + (i % 60)}%)`;
    context.fillRect((i * 977) % 4000, (i * 613) % 3000, 300, 200);
  }
  window.photo = await canvas.convertToBlob({ type: "image/jpeg" });
});
const runs = async (action) => {
  const times = [];
  for (let run = 0; run < 6; ++run)
    times.push(await time({ action, argument: String(run + 1) }));
  return median(times.slice(1)); // the first compiles
};
console.log(`drop of a 12-megapixel JPEG to its first preview: ${await runs("drop")} ms`);
console.log(`slider to painted, 1600 x 1200: ${await runs("slide")} ms`);
const build = async () => {
  await page.click("#edit-panel");
  await page.fill("#panel-width", "800");
  await page.fill("#panel-height", "480");
  const before = await page.getAttribute("body", "data-renders");
  const start = performance.now();
  await page.click("#build");
  while (await page.getAttribute("body", "data-renders") === before) await page.waitForTimeout(20);
  return performance.now() - start;
};
console.log(`typed colours to new preview: ${median([await build(), await build(), await build()])} ms`);
console.log(`slider to painted, 800 x 480: ${await runs("slide")} ms`);
await browser.close();
server.httpServer.close();
process.exit();
