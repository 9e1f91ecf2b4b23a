import { readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { type Browser, type BrowserContext, type Download, type Page } from "playwright-core";
import { afterAll, beforeAll, describe as group, expect, test } from "vitest";
import { preview, type PreviewServer } from "vite";
import { startChromium } from "../scripts/chromium.mjs";
import { bytesOf, folder, oxel, ppm, run } from "./command.js";

const root = fileURLToPath(new URL("..", import.meta.url));
let server: PreviewServer;
let browser: Browser;
let page: Page;
let strangers: string[];
let complaints: string[];
let address: string;

beforeAll(async () => {
  server = await preview({ root: join(root, "page"), configFile: join(root, "vite.config.ts"), preview: { port: 0 } });
  address = server.resolvedUrls!.local[0]!;
  browser = await startChromium();
});
afterAll(async () => {
  await browser?.close();
  server?.httpServer.close();
});

async function open(hash = "", context: Pick<Browser, "newPage"> | BrowserContext = browser, before = () => {}): Promise<void> {
  [strangers, complaints] = [[], []];
  page = await (context as Browser).newPage(context === browser ? { viewport: { width: 1280, height: 800 } } : undefined);
  await page.addInitScript(before);
  page.on("request", (request) => {
    if (!request.url().startsWith(address) && !request.url().startsWith("blob:")) strangers.push(request.url());
  });
  page.on("console", (message) => { // a server of files has no albums
    if (message.type() === "error" && message.location().url !== `${address}albums`) complaints.push(message.text());
  });
  page.on("pageerror", (error) => complaints.push(String(error)));
  await page.goto(address + hash);
}

async function close(): Promise<void> {
  expect(strangers).toEqual([]);
  expect(complaints).toEqual([]);
  expect(await page.isVisible("#albums")).toBe(false);
  await page.close();
}

/** Where the middle of the large picture is on the screen. */
async function middle() {
  const box = (await page.locator("#large").boundingBox())!;
  return { x: box.x + box.width / 2, y: box.y + box.height / 2 };
}

const renders = async () => Number(await page.getAttribute("body", "data-renders"));

/** Does something, and waits until the preview shows it. */
async function rendering(action: () => Promise<unknown>): Promise<void> {
  const before = await renders();
  await action();
  await expect.poll(renders, { timeout: 120_000, interval: 50 }).toBeGreaterThan(before);
}

async function saved(button: string): Promise<Download> {
  const [download] = await Promise.all([page.waitForEvent("download"), page.click(button)]);
  return download;
}

/** The RGB that the page has made of the photograph. */
async function original() {
  const { data, width, height } = await page.evaluate(() => {
    const canvas = document.getElementById("original") as HTMLCanvasElement;
    const { data } = canvas.getContext("2d")!.getImageData(0, 0, canvas.width, canvas.height);
    let text = ""; // numbers one by one would take minutes
    for (let i = 0; i < data.length; i += 4)
      text += String.fromCharCode(data[i]!, data[i + 1]!, data[i + 2]!);
    return { data: btoa(text), width: canvas.width, height: canvas.height };
  });
  return { data: new Uint8Array(Buffer.from(data, "base64")), width, height };
}

const description = JSON.stringify({
  name: "test panel", width: 160, height: 120, tft_layout: 4,
  colours: [{ name: "black", rgb: [30, 30, 34], tcon: 0 }, { name: "white", rgb: [200, 202, 196], tcon: 1 },
            { name: "red", rgb: [150, 40, 36], tcon: 3 }],
});
const panelFile = join(folder, "panel.json");
writeFileSync(panelFile, description);

/** What the command makes of the page's RGB. */
async function expected(output: string, ...options: string[]): Promise<Buffer> {
  const photo = ppm("page.ppm", await original());
  run(oxel, "render", photo, "--panel", panelFile, "-o", output, ...options);
  return bytesOf(output);
}

/** A picture of a red left and a blue right half, as the browser writes it. */
async function drawn(type: string, colorSpace: "srgb" | "display-p3"): Promise<Buffer> {
  const bytes = await page.evaluate(async ([type, colorSpace]) => {
    const canvas = new OffscreenCanvas(320, 240);
    const context = canvas.getContext("2d", { colorSpace: colorSpace as PredefinedColorSpace })!;
    context.fillStyle = colorSpace === "srgb" ? "rgb(200 40 40)" : "color(display-p3 0.784 0.157 0.157)";
    context.fillRect(0, 0, 160, 240);
    context.fillStyle = "rgb(40 60 190)";
    context.fillRect(160, 0, 160, 240);
    const blob = await canvas.convertToBlob({ type: type!, quality: 0.95 });
    return [...new Uint8Array(await blob.arrayBuffer())];
  }, [type, colorSpace]);
  return Buffer.from(bytes);
}

/** The JPEG with an orientation: 6 stands for a quarter turn to the right. */
function oriented(jpeg: Buffer): Buffer {
  const exif = Buffer.from("457869660000" + "4d4d002a00000008" + "0001" + "0112000300000001" + "00060000" + "00000000", "hex");
  const segment = Buffer.concat([Buffer.from([0xff, 0xe1, 0, exif.length + 2]), exif]);
  return Buffer.concat([jpeg.subarray(0, 2), segment, jpeg.subarray(2)]);
}

const give = (name: string, buffer: Buffer, mimeType: string) =>
  rendering(() => page.setInputFiles("#files", { name, mimeType, buffer }));

test("real files come out as the command's bytes", async () => {
  await open();
  await page.setInputFiles("#panel-file", panelFile);
  await expect.poll(() => page.textContent("#status"), { timeout: 120_000 }).toMatch(/test panel: 3 colours/);
  const pixel = (rgb: Uint8Array, x: number, y: number) => [...rgb.subarray(3 * (160 * y + x), 3 * (160 * y + x) + 3)];

  await give("turned.jpg", oriented(await drawn("image/jpeg", "srgb")), "image/jpeg");
  const turned = (await original()).data; // red is above, now
  expect(pixel(turned, 80, 20)[0]).toBeGreaterThan(180);
  expect(pixel(turned, 80, 100)[2]).toBeGreaterThan(170);
  expect(readFileSync(await (await saved("#save-frame")).path()).equals(await expected("turned.bin"))).toBe(true);

  await give("wide.png", await drawn("image/png", "display-p3"), "image/png");
  const [r, g] = pixel((await original()).data, 40, 60); // P3's (200, 40, 40) is a stronger red
  expect([r! > 210, g! < 30]).toEqual([true, true]);
  await give("photo.webp", await drawn("image/webp", "srgb"), "image/webp");
  await page.selectOption("#format", "packed2");
  await page.check("#gzip");
  await rendering(() => page.selectOption("#dither", "jjn"));
  await rendering(() => page.locator("#saturation").fill("40"));
  const download = await saved("#save-frame");
  expect(download.suggestedFilename()).toBe("photo.bin.gz");
  const { gunzipSync } = await import("node:zlib");
  expect(gunzipSync(readFileSync(await download.path())).equals(await expected(
    "photo.bin", "--frame", "packed2", "--dither", "jjn", "--saturation", "40"))).toBe(true);

  run(oxel, "package", "build", panelFile, "--tune", "jjn", "-o", "page.lut");
  expect(readFileSync(await (await saved("#save-package")).path()).equals(bytesOf("page.lut"))).toBe(true);
  await rendering(() => page.setInputFiles("#panel-file", join(folder, "page.lut"))); // has no size
  await page.fill("#width", "64");
  await rendering(() => page.keyboard.press("Tab"));
  expect((await original()).width).toBe(64);
  await page.setInputFiles("#files", { name: "a.heic", mimeType: "image/heic", buffer: Buffer.from("no picture") });
  await expect.poll(() => page.textContent("#status")).toMatch(/a\.heic: this browser cannot read it; HEIC/);
  await close();
}, 300_000);

test("a folder becomes an archive; broken files are told and skipped", async () => {
  await open();
  await page.setInputFiles("#panel-file", panelFile);
  await expect.poll(() => page.textContent("#status"), { timeout: 120_000 }).toMatch(/test panel/);
  const png = await drawn("image/png", "srgb");
  await rendering(() => page.setInputFiles("#files", [
    { name: "one.png", mimeType: "image/png", buffer: png },
    { name: "broken.png", mimeType: "image/png", buffer: png.subarray(0, 30) },
    { name: "two.png", mimeType: "image/png", buffer: png }]));
  const archive = readFileSync(await (await saved("#batch")).path());
  writeFileSync(join(folder, "frames.zip"), archive);
  run("python3", "-m", "zipfile", "-e", "frames.zip", "unzipped");
  const frame = await expected("one.bin");
  expect(bytesOf("unzipped/one.bin").equals(frame) && bytesOf("unzipped/two.bin").equals(frame)).toBe(true);
  await expect.poll(() => page.textContent("#status")).toMatch(/^2 done\. broken\.png: /);
  await close();
}, 300_000);

test("settings are undone, kept in the address, and work with keys and the pointer", async () => {
  await open("#contrast=12&dither=jjn&hue=9999&threshold=x&panel=&unknown=1");
  await rendering(() => page.click("#example"));
  expect([await page.inputValue("#contrast"), await page.inputValue("#hue"), await page.inputValue("#dither")])
    .toEqual(["12", "0", "jjn"]);
  await page.focus("#brightness");
  await rendering(() => page.keyboard.press("ArrowRight"));
  expect(page.url()).toMatch(/brightness=1/);
  await rendering(() => page.keyboard.press("Control+z"));
  expect(await page.inputValue("#brightness")).toBe("0");
  await rendering(() => page.click("#redo"));
  expect(await page.inputValue("#brightness")).toBe("1");
  await rendering(() => page.click("#reset"));
  expect(page.url()).not.toMatch(/brightness|contrast/);

  await page.getByLabel("Crop", { exact: true }).check();
  await page.focus("#large");
  await rendering(() => page.keyboard.press("+"));
  const before = (await original()).data;
  const box = (await page.locator("#large").boundingBox())!;
  await rendering(async () => {
    await page.mouse.move(box.x + 300, box.y + 200);
    await page.mouse.down();
    await page.mouse.move(box.x + 280, box.y + 190, { steps: 3 });
    await page.mouse.up();
  });
  expect(Buffer.from(before).equals((await original()).data)).toBe(false);
  expect(page.url()).toMatch(/zoom=1\.1.*x=0\.5/);
  await rendering(() => page.click("#rotate"));

  await page.check("#guard");
  await page.fill("#threshold", "0");
  await rendering(() => page.keyboard.press("Tab"));
  await expect.poll(() => page.textContent("#verdict"), { timeout: 30_000 }).toMatch(/blank/);
  await rendering(() => page.uncheck("#guard"));
  await rendering(() => page.check("#nominal"));
  const preview = readFileSync(await (await saved("#save-preview")).path()).toString("base64");
  const pure = await page.evaluate(async (png) => {
    const bitmap = await createImageBitmap(new Blob([Uint8Array.from(atob(png), (byte) => byte.charCodeAt(0))]));
    const context = new OffscreenCanvas(bitmap.width, bitmap.height).getContext("2d")!;
    context.drawImage(bitmap, 0, 0);
    return context.getImageData(0, 0, bitmap.width, bitmap.height).data.every((byte) => byte === 0 || byte === 255);
  }, preview);
  expect(pure).toBe(true);
  await close();
}, 300_000);

test("photographs are dropped and pasted, and cropped by two fingers", async () => {
  const context = await browser.newContext({ viewport: { width: 390, height: 844 }, hasTouch: true,
                                             permissions: ["clipboard-read", "clipboard-write"] });
  await open("", context);
  const devtools = await context.newCDPSession(page);
  const file = join(folder, "dropped.png");
  writeFileSync(file, await drawn("image/png", "srgb"));
  await rendering(async () => {
    for (const type of ["dragEnter", "dragOver", "drop"] as const)
      await devtools.send("Input.dispatchDragEvent",
                          { type, x: 200, y: 400, data: { items: [], files: [file], dragOperationsMask: 1 } });
  });
  expect(await page.textContent("#status")).toBe("dropped.png, 320 × 240");

  await page.evaluate(async () => {
    const canvas = new OffscreenCanvas(64, 48);
    canvas.getContext("2d")!.fillRect(0, 0, 32, 48);
    await navigator.clipboard.write([new ClipboardItem({ "image/png": await canvas.convertToBlob() })]);
  });
  await rendering(() => page.keyboard.press("Control+v"));
  expect(await page.textContent("#status")).toMatch(/64 × 48/);

  await page.getByLabel("Crop", { exact: true }).check();
  const { x, y } = await middle();
  const fingers = (type: "touchStart" | "touchMove" | "touchEnd", apart?: number) =>
    devtools.send("Input.dispatchTouchEvent", { type, touchPoints: apart === undefined ? [] : [
      { x: x - apart / 2, y, id: 1 }, { x: x + apart / 2, y, id: 2 }] });
  await rendering(async () => {
    await fingers("touchStart", 60);
    for (const apart of [80, 100, 120]) await fingers("touchMove", apart);
    await fingers("touchEnd");
  });
  expect(Number(new URLSearchParams(new URL(page.url()).hash.slice(1)).get("zoom"))).toBeCloseTo(2, 1);
  await close();
  await context.close();
}, 300_000);

test("however slow the page is, one rendering is under way, and the last setting is shown", async () => {
  await open("", undefined, () => {
    Object.assign(window, { most: 0, Worker: class extends Worker {
      waiting = 0;
      constructor(...values: ConstructorParameters<typeof Worker>) {
        super(...values);
        this.addEventListener("message", ({ data }) => { if ("id" in data) --this.waiting; });
      }
      override postMessage(...values: unknown[]) {
        const counted = window as unknown as { most: number };
        counted.most = Math.max(counted.most, ++this.waiting);
        (super.postMessage as (...values: unknown[]) => void)(...values);
      }
    } });
  });
  await give("photo.png", await drawn("image/png", "srgb"), "image/png");
  await rendering(() => page.locator("#saturation").fill("35"));
  const shown = () => page.evaluate(() => (document.getElementById("rendered") as HTMLCanvasElement).toDataURL());
  const right = await shown();
  await (await page.context().newCDPSession(page)).send("Emulation.setCPUThrottlingRate", { rate: 8 });
  const before = await renders();
  await page.evaluate(() => {
    Object.assign(window, { most: 0 });
    const slider = document.getElementById("saturation") as HTMLInputElement;
    for (let i = 0; i < 500; ++i) {
      slider.value = String(i % 100 - 100);
      slider.dispatchEvent(new Event("input"));
    }
  });
  await rendering(() => page.locator("#saturation").fill("35"));
  await expect.poll(shown).toBe(right);
  expect(await page.evaluate(() => (window as unknown as { most: number }).most)).toBe(1);
  expect(await renders() - before).toBeLessThan(8);
  expect(Number(await page.getAttribute("body", "data-drafts"))).toBeLessThan(50);
  await close();
}, 300_000);

test("drafts are the same on the page's thread, which they leave when they are slow", async () => {
  await open("#width=64&height=48", undefined, () => {
    const calls: string[] = [];
    Object.assign(window, { calls, Worker: class extends Worker {
      override postMessage(...values: unknown[]) {
        calls.push((values[0] as { name: string }).name);
        (super.postMessage as (...values: unknown[]) => void)(...values);
      }
    } });
  });
  run(oxel, "package", "build", panelFile, "-o", "draft.lut");
  await page.setInputFiles("#panel-file", join(folder, "draft.lut"));
  await expect.poll(() => page.textContent("#status")).toMatch(/draft.lut: 3 colours/);
  await give("photo.png", await drawn("image/png", "srgb"), "image/png");
  /** What a movement of the slider shows, and whether the worker has drawn it. */
  const drafted = (value: number) => page.evaluate(async (value) => {
    const [calls, { dataset }] = [(window as unknown as { calls: string[] }).calls, document.body];
    const [before, slider] = [dataset.drafts, document.getElementById("hue") as HTMLInputElement];
    calls.length = 0;
    slider.value = String(value);
    slider.dispatchEvent(new Event("input"));
    while (dataset.drafts === before) await new Promise((resolve) => setTimeout(resolve, 1));
    return [(document.getElementById("rendered") as HTMLCanvasElement).toDataURL(), calls.includes("renderDraft")] as const;
  }, value);
  const clock = (step: number) => page.evaluate((step) => { let time = 0; performance.now = () => (time += step); }, step);
  await clock(0);
  const [first, other] = [await drafted(90), await drafted(-90)]; // here as soon as its panel is
  expect([first[1], first[0] === other[0]]).toEqual([true, false]);
  await expect.poll(async () => [await drafted(90), await drafted(-90)], { timeout: 30_000 })
    .toEqual([[first[0], false], [other[0], false]]);
  await clock(20);
  expect(await drafted(90)).toEqual([first[0], false]); // too slow for the next one
  expect(await drafted(-90)).toEqual([other[0], true]);
  await close();
}, 120_000);

test("typed colours are built", async () => {
  await open();
  await page.waitForSelector("#save-package");
  await expect.poll(() => page.textContent("#status"), { timeout: 60_000 }).toMatch(/6 colours/);
  await page.click("#edit-panel");
  await page.fill("#panel-name", "mine");
  await page.fill("#panel-width", "64");
  await page.fill("#panel-height", "48");
  await page.getByLabel("Red of colour 2").fill("210");
  await page.getByLabel("Remove colour 3").click();
  await page.click("#build");
  await expect.poll(() => page.textContent("#status"), { timeout: 120_000 }).toMatch(/mine: 5 colours/);
  const json = JSON.parse(readFileSync(await (await saved("#save-description")).path(), "utf8"));
  expect([json.name, json.colours.length, json.colours[1].rgb[0]]).toEqual(["mine", 5, 210]);
  const link = new URL(page.url()).hash;
  await close();
  await open(link);
  await expect.poll(() => page.textContent("#status"), { timeout: 120_000 }).toMatch(/mine: 5 colours/);
  await close();
}, 300_000);

test("as one file it works without a server", async () => {
  await open();
  await page.goto(new URL("../site/oxel.html", import.meta.url).href);
  await rendering(() => page.click("#example"));
  await page.selectOption("#format", "packed4");
  const frame = readFileSync(await (await saved("#save-frame")).path());
  const photo = ppm("page.ppm", await original());
  run(oxel, "render", photo, "--panel", "six-colour", "--frame", "packed4", "-o", "single.bin");
  expect(frame.equals(bytesOf("single.bin"))).toBe(true);
  await page.setInputFiles("#panel-file", panelFile);
  await expect.poll(() => page.textContent("#status"), { timeout: 120_000 }).toMatch(/test panel: 3 colours/);
  expect(strangers.filter((url) => !url.startsWith("file:") && !url.startsWith("data:"))).toEqual([]);
  strangers = [];
  await close();
}, 120_000);

test("what has the focus has a name and a role, in the order of the page", async () => {
  await open();
  await rendering(() => page.evaluate(() => document.getElementById("example")!.click())); // the focus stays

  const devtools = await page.context().newCDPSession(page);
  const { nodes } = await devtools.send("Accessibility.getFullAXTree");
  const focusable = nodes.filter(({ ignored, properties, role }) => !ignored && role?.value !== "RootWebArea" &&
    properties?.some(({ name, value }) => name === "focusable" && value.value));
  expect(focusable.length).toBeGreaterThan(35);
  expect(focusable.filter(({ name, role }) => !name?.value || role?.value === "generic")).toEqual([]);
  const named = (role: string) => nodes.filter((node) => node.role?.value === role).map(({ name }) => name?.value);
  expect(named("main").length).toBe(1);
  expect(named("status").length).toBeGreaterThan(0);
  expect(named("group")).toEqual(expect.arrayContaining(["Show", "Pointer", "Diffusion", "Adjustments", "Power guard", "Take it along"]));
  const order: string[] = [];
  for (let i = 0; i < 24; ++i) {
    await page.keyboard.press("Tab");
    order.push(await page.evaluate(() => document.activeElement!.id || (document.activeElement as HTMLInputElement).name || document.activeElement!.textContent!));
  }
  expect(order).toEqual(["To the controls", "panel", "edit-panel", "open-panel", "view", "tool", "rotate", "zoom-out", "zoom-in", "fit",
    "large", "dither", "inks", "nominal", "shadows", "highlights", "clarity", "sharpen", "brightness", "contrast", "saturation", "hue", "gamma",
    "whiteBalance"]);
  await close();
}, 120_000);

group("everywhere", () => {
  test.each([[1280, 800, "light"], [390, 844, "dark"]] as const)("fits %i x %i, %s", async (width, height, colorScheme) => {
    await open();
    await page.setViewportSize({ width, height });
    await page.emulateMedia({ colorScheme });
    await rendering(() => page.click("#example"));
    if (width > 1000) await page.getByLabel("Split", { exact: true }).first().check();
    expect(await page.evaluate(() => document.documentElement.scrollWidth)).toBeLessThanOrEqual(width);
    const unnamed = await page.evaluate(() =>
      [...document.querySelectorAll<HTMLElement>("button, input:not([type=file]), select, canvas[role]")]
        .filter((control) => control.checkVisibility() && !(control.textContent?.trim() || control.ariaLabel ||
          (control as HTMLInputElement).labels?.[0]?.textContent?.trim()))
        .map((control) => control.outerHTML));
    expect(unnamed).toEqual([]);
    await page.screenshot({ type: "jpeg", quality: 85, path: process.env.OXEL_PICTURE && width > 1000 ? process.env.OXEL_PICTURE
                                                                          : join(folder, `page-${width}.jpg`) });
    await close();
  }, 120_000);
});
