import { createServer, type IncomingMessage, type Server } from "node:http";
import { readFile } from "node:fs/promises";
import { writeFileSync } from "node:fs";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import type { AddressInfo } from "node:net";
import type { Browser, Page } from "playwright-core";
import { afterAll, beforeAll, expect, test } from "vitest";
import { startChromium } from "../scripts/chromium.mjs";
import { bytesOf, folder, oxel, run } from "./command.js";

const site = fileURLToPath(new URL("../site/", import.meta.url));
const types: Record<string, string> = { html: "text/html", js: "text/javascript", css: "text/css", wasm: "application/wasm" };
const colours = [{ name: "black", rgb: [30, 30, 34], tcon: 0 }, { name: "white", rgb: [200, 202, 196], tcon: 1 }];
const saved = [0.25, 0.5, 0.5, 0.25];

/** A server as the page expects it, of 300 pictures and one device. */
const asked: string[] = [];
let crops: Record<string, Record<string, number[]>>;
let photograph: Buffer;
async function answer({ method, url, headers }: IncomingMessage, body: string): Promise<[number, string, string | Buffer]> {
  const { pathname, search, searchParams } = new URL(url!, "http://server");
  const path = decodeURIComponent(pathname);
  if (!/^\/(albums|devices)/.test(path))
    return [200, types[path.split(".").at(-1)!] ?? "text/html", await readFile(join(site, path === "/" ? "index.html" : path))];
  asked.push(`${method} ${path}${search}`);
  const json = (value: unknown): [number, string, string] => [200, "application/json", JSON.stringify(value)];
  if (headers.authorization !== "Bearer secret") return [401, "text/plain", "this needs a token"];
  if (path === "/albums") return json({ albums: [{ name: "family", pictures: 300 }] });
  if (path === "/albums/family")
    return json({ pictures: Array.from({ length: 300 }, (_, i) => ({ name: `sub/photo ${i}.png`, crops: crops[`sub/photo ${i}.png`] ?? {} })) });
  if (path === "/devices")
    return json({ devices: [{ id: "hall", panel: "p", width: 32, height: 32, format: "rgb", source: "folder", next_wake: 9 },
                            { id: "kitchen", panel: "p", width: 80, height: 40, format: "packed1", source: "album family", next_wake: 9 }] });
  if (path === "/devices/kitchen/panel.json") return json({ name: "p", width: 80, height: 40, tft_layout: 0, colours });
  if (path === "/devices/kitchen/package") return [200, "application/octet-stream", bytesOf("albums.lut")];
  const name = path.replace("/albums/family/", "");
  if (method === "GET") return [200, "image/png", photograph];
  if (name === "sub/photo 2.png") return [403, "text/plain", "nobody may crop this"];
  if (method === "PUT") crops[name] = { [searchParams.get("device")!]: JSON.parse(body).crop };
  else delete crops[name];
  return [204, "", ""];
}

let server: Server;
let browser: Browser;
let page: Page;
const address = () => `http://localhost:${(server.address() as AddressInfo).port}/`;
beforeAll(async () => {
  writeFileSync(join(folder, "albums.json"), JSON.stringify({ name: "p", colours }));
  run(oxel, "package", "build", "albums.json", "-o", "albums.lut");
  browser = await startChromium();
  const drawing = await browser.newPage();
  await drawing.goto("data:text/html,<canvas width=160 height=160>");
  photograph = Buffer.from(await drawing.evaluate(() => {
    const canvas = document.querySelector("canvas")!;
    canvas.getContext("2d")!.fillRect(0, 0, 80, 160);
    return canvas.toDataURL().split(",")[1]!;
  }), "base64");
  await drawing.close();
  server = createServer(async (request, response) => {
    let body = "";
    for await (const part of request) body += part;
    const [status, type, content] = await answer(request, body).catch((): [number, string, string] => [404, "text/plain", "nothing"]);
    response.writeHead(status, { "Content-Type": type, ...(status === 401 && { "WWW-Authenticate": "Bearer" }) });
    response.end(content);
  }).listen(0);
});
afterAll(async () => {
  await browser?.close();
  server?.close();
});

const eventually = <T>(value: () => T) => expect.poll(value, { timeout: 60_000 });
const status = () => page.textContent("#status");
const zoom = () => Number(new URLSearchParams(new URL(page.url()).hash.slice(1)).get("zoom") ?? 1);

test("albums are looked through, and cropped for a device", async () => {
  crops = { "sub/photo 1.png": { kitchen: saved } };
  page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
  await page.goto(address());
  await page.click("#albums");
  await page.fill("#token", "wrong");
  await page.keyboard.press("Enter");
  await eventually(() => page.textContent("#token-error")).toBe("The server does not take this token.");
  await page.fill("#token", "secret");
  await page.keyboard.press("Enter");

  const option = (i: number) => page.getByRole("option", { name: `sub/photo ${i}.png` });
  await eventually(() => option(1).locator("img").evaluate((image: HTMLImageElement) => image.naturalWidth)).toBe(160);
  expect(await option(1).textContent()).toMatch(/cropped for kitchen/);
  const thumbnails = () => asked.filter((url) => url.endsWith("?thumbnail")).length;
  expect(thumbnails()).toBeLessThan(60); // what is in sight
  expect((await option(1).boundingBox())!.height).toBeGreaterThan(120);
  await option(0).focus();
  await page.keyboard.press("End");
  await eventually(() => page.getByRole("option").count()).toBeGreaterThan(120);

  await option(0).focus();
  await page.keyboard.press("ArrowRight");
  await page.keyboard.press("Enter");
  await eventually(() => page.locator("#device").inputValue()).toBe("kitchen");
  await eventually(zoom).toBeCloseTo(2, 3); // the crop that the device has
  const shown = () => page.evaluate(() => {
    const { width, height } = document.getElementById("original") as HTMLCanvasElement;
    return [width, height, (document.getElementById("format") as HTMLSelectElement).value];
  });
  await eventually(shown).toEqual([80, 40, "packed1"]);
  await page.focus("#large");
  await page.keyboard.press("ArrowRight");
  await page.click("#save-crop");
  await eventually(status).toBe("Cropped for kitchen.");
  const crop = crops["sub/photo 1.png"]!.kitchen!;
  expect(crop[0]).toBeCloseTo(saved[0]! + 0.02 * saved[2]!, 6);
  expect(crop.slice(1)).toEqual(saved.slice(1).map((part) => expect.closeTo(part, 6)));
  await page.click("#forget-crop");
  await eventually(() => crops["sub/photo 1.png"]).toBeUndefined();
  await eventually(zoom).toBe(1);
  await page.click("#rotate");
  await page.click("#save-crop");
  await eventually(status).toMatch(/upright/);

  await page.click("#albums"); // the token is asked for once
  await option(2).click();
  await eventually(status).toMatch(/photo 2\.png/);
  await page.click("#fit");
  await page.click("#fit");
  await page.click("#save-crop");
  await eventually(status).toBe("The server refuses this: nobody may crop this");
  expect(await page.evaluate(() => [localStorage.length, sessionStorage.getItem("oxel-token")])).toEqual([0, "secret"]);
  await page.close();
}, 120_000);
