import { frameFormats, type PanelDescription } from "../dist/index.js";
import { Engine } from "./engine.js";
import { draw, framing } from "./framing.js";
import { editPanel } from "./panel_dialog.js";
import { watchPointers } from "./pointer.js";
import { fromAddress, History, modes, neutral, sliders, toAddress, type Settings } from "./settings.js";
import type { Mode, PanelInfo, PanelSource } from "./worker.js";
import { zip, type ZipEntry } from "./zip.js";

const element = <T extends HTMLElement = HTMLElement>(id: string) => document.getElementById(id) as T;
const button = (id: string, action: () => void) => (element(id).onclick = action);
const original = element<HTMLCanvasElement>("original");
const rendered = element<HTMLCanvasElement>("rendered");
const originalContext = original.getContext("2d", { willReadFrequently: true })!;
/** The rendering, pixel by pixel; `rendered` shows it at the size that there is room for. */
const pixels = document.createElement("canvas");

const shared = new URLSearchParams(location.hash.slice(1)).get("panel");
let settings = fromAddress(new URLSearchParams(location.hash.slice(1)));
const history = new History(settings);
let photos: { name: string; file: Blob }[] = [];
let current = 0;
let photo: ImageBitmap | undefined;
let panel: PanelInfo | undefined;
let source: PanelSource = { builtin: "six-colour" };
let engine = newEngine();
let view = "panel";

function newEngine(): Engine {
  return new Engine((share) => showProgress(share));
}

function say(text: string, bad = false): void {
  const status = element("status");
  status.textContent = text;
  status.classList.toggle("bad", bad);
}

function showProgress(share: number | undefined): void {
  const progress = element<HTMLProgressElement>("progress");
  progress.hidden = share === undefined;
  if (share !== undefined) progress.value = share;
}

function fail(error: unknown): void {
  if (error instanceof DOMException && error.name === "AbortError") return;
  showProgress(undefined);
  say(error instanceof Error ? error.message : String(error), true);
}

// Settings.

const diffusionNames: Record<Mode, string> = {
  "floyd": "Floyd–Steinberg", "floyd-serpentine": "Floyd–Steinberg, serpentine",
  "jjn": "Jarvis–Judice–Ninke", "jjn-serpentine": "Jarvis–Judice–Ninke, serpentine",
  "stucki": "Stucki", "stucki-serpentine": "Stucki, serpentine", "none": "None",
};

/** A package does not tell its panel's size. */
const panelSize = () => panel?.size ?? { width: settings.width, height: settings.height };

function renderOptions(of: Settings) {
  const { shadows, highlights, clarity, sharpen, whiteBalance, autoLevels, monochrome } = of;
  const { hue, saturation, brightness, contrast, gamma } = of;
  return {
    development: { shadows, highlights, clarity, sharpen, whiteBalance, autoLevels, monochrome },
    adjustment: { hue, saturation, brightness, contrast, gamma },
  };
}

const threshold = (of: Settings) => (of.guard ? of.threshold : undefined);

function showSettings(): void {
  for (const { name } of sliders) {
    element<HTMLInputElement>(name).value = String(settings[name]);
    element(`${name}-value`).textContent = name === "gamma" ? settings.gamma.toFixed(2) : String(settings[name]);
  }
  for (const name of ["dither", "whiteBalance", "format"] as const)
    element<HTMLSelectElement>(name).value = settings[name];
  for (const name of ["autoLevels", "monochrome", "guard", "gzip"] as const)
    element<HTMLInputElement>(name).checked = settings[name];
  for (const name of ["threshold", "width", "height"] as const)
    element<HTMLInputElement>(name).value = String(settings[name]);
  element("fit").setAttribute("aria-pressed", String(settings.whole));
  element<HTMLButtonElement>("undo").disabled = !history.canUndo;
  element<HTMLButtonElement>("redo").disabled = !history.canRedo;
  element<HTMLButtonElement>("save-frame").disabled = !photo || settings.dither === "none";
  element<HTMLButtonElement>("save-preview").disabled = !photo;
  const address = toAddress(settings);
  if ("description" in source) address.set("panel", source.description);
  const hash = address.toString();
  if (hash !== location.hash.slice(1))
    window.history.replaceState(null, "", hash ? `#${hash}` : location.pathname + location.search);
}

/** Changes settings; `settled` when the user has let go, so that undo comes back here. */
function change(changes: Partial<Settings>, settled = true): void {
  settings = { ...settings, ...changes };
  if (settled) history.add(settings);
  showSettings();
  refresh();
}

// Rendering: one at a time, and always the latest settings.

let sent = "";
let rendering = false;
let wanted = false;

const framingOf = (of: Settings) =>
  JSON.stringify([current, panelSize(), of.rotate, of.whole, of.zoom, of.x, of.y]);

async function sendPicture(): Promise<void> {
  const key = framingOf(settings);
  if (key === sent || !photo) return;
  const { width, height } = panelSize();
  if (original.width !== width || original.height !== height)
    Object.assign(original, { width, height });
  element("large").style.setProperty("--ratio", String(width / height));
  draw(originalContext, photo, { width, height }, settings);
  const { data } = originalContext.getImageData(0, 0, width, height);
  await engine.call("picture", [data.buffer as ArrayBuffer, width, height], [data.buffer as ArrayBuffer]);
  sent = key;
}

/** A canvas of its own size draws much better than the browser shrinks another one. */
function showShrunk(canvas: HTMLCanvasElement, full: HTMLCanvasElement): void {
  const room = Math.round(canvas.clientWidth * devicePixelRatio);
  const width = room > 0 ? Math.min(room, full.width) : full.width;
  const height = Math.round((width * full.height) / full.width);
  Object.assign(canvas, { width, height });
  const context = canvas.getContext("2d")!;
  context.imageSmoothingQuality = "high";
  context.drawImage(full, 0, 0, width, height);
}

async function renderTo(canvas: HTMLCanvasElement, full: HTMLCanvasElement, mode: Mode, of: Settings) {
  const { data, verdict } = await engine.call("render", [mode, renderOptions(of), threshold(of)]);
  const { width, height } = panelSize();
  if (data.length !== 4 * width * height) return; // of a panel that has gone
  Object.assign(full, { width, height });
  full.getContext("2d")!.putImageData(
    new ImageData(new Uint8ClampedArray(data.buffer), width, height), 0, 0);
  canvas.style.setProperty("aspect-ratio", `${width} / ${height}`);
  showShrunk(canvas, full);
  const words = { passed: "Passes as it is.", shifted: "Passes moved down by a row.",
                  blanked: "Refused: the frame is blank." };
  if (mode === of.dither) element("verdict").textContent = verdict ? words[verdict] : "";
}

async function refresh(): Promise<void> {
  wanted = true;
  if (rendering || !photo || !panel) return;
  rendering = true;
  while (wanted) {
    wanted = false;
    const of = settings;
    const by = engine;
    try {
      await sendPicture();
      await renderTo(rendered, pixels, of.dither, of);
      document.body.dataset.renders = String(Number(document.body.dataset.renders ?? 0) + 1);
      if (view === "all")
        for (const canvas of element("grid").querySelectorAll("canvas")) {
          if (wanted) break;
          await renderTo(canvas, document.createElement("canvas"), canvas.dataset.mode as Mode, of);
        }
    } catch (error) {
      if (engine === by) fail(error);
      else wanted = true; // another panel has been opened
    }
  }
  rendering = false;
}

function showView(): void {
  const large = view !== "all";
  element("large").hidden = !large;
  element("grid").hidden = large;
  element("split-line").hidden = view !== "split";
  original.hidden = view === "panel";
  const share = view === "split" ? Number(element<HTMLInputElement>("split").value) : 100;
  original.style.setProperty("clip-path", `inset(0 ${100 - share}% 0 0)`);
}

function showCropping(): void {
  const cropping = tool() === "crop";
  element("large").classList.toggle("crop", cropping);
  element("thirds").hidden = !cropping;
}

const tool = () => document.querySelector<HTMLInputElement>("[name=tool]:checked")!.value;

// Photographs.

const isPicture = (file: File) =>
  file.type.startsWith("image/") || /\.(jpe?g|png|webp|avif|gif|bmp|hei[cf]|tiff?)$/i.test(file.name);

async function decode(name: string, file: Blob): Promise<ImageBitmap> {
  try {
    return await createImageBitmap(file, { imageOrientation: "from-image" });
  } catch {
    if (!file.type.includes("svg"))
      throw new Error(`${name}: this browser cannot read it${
        /\.hei[cf]$/i.test(name) ? "; HEIC pictures can be saved as JPEG, or rendered by the command" : ""}`);
    const image = new Image();
    image.src = URL.createObjectURL(file);
    await image.decode();
    return createImageBitmap(image);
  }
}

async function show(place: number): Promise<void> {
  const { name, file } = photos[place]!;
  try {
    const bitmap = await decode(name, file);
    photo?.close();
    photo = bitmap;
    current = place;
    sent = "";
    element("empty").hidden = true;
    element("work").hidden = false;
    say(`${name}, ${bitmap.width} × ${bitmap.height}`);
    showStrip();
    showSettings();
    await refresh();
  } catch (error) {
    fail(error);
  }
}

function showStrip(): void {
  const strip = element("strip");
  strip.hidden = photos.length < 2;
  element("batch-line").hidden = photos.length < 2;
  element("batch").textContent = `All ${photos.length} photographs`;
  strip.replaceChildren(...photos.slice(0, 200).map(({ name }, place) => {
    const item = document.createElement("button");
    Object.assign(item, { type: "button", textContent: name, onclick: () => void show(place) });
    item.setAttribute("role", "option");
    item.setAttribute("aria-selected", String(place === current));
    return item;
  }));
}

async function takeFiles(files: Iterable<File>): Promise<void> {
  const all = [...files];
  const panelFile = all.find(({ name }) => /\.(lut|json)$/i.test(name));
  if (panelFile) await openPanelFile(panelFile);
  const pictures = all.filter(isPicture)
    .map((file) => ({ name: file.webkitRelativePath || file.name, file }));
  if (pictures.length > 0) {
    photos = [...photos, ...pictures];
    await show(photos.length - pictures.length);
  } else if (!panelFile) {
    say("No picture among these files.", true);
  }
}

// Panels.

let opening: Engine | undefined;

async function openPanel(next: PanelSource): Promise<void> {
  opening?.close(); // of two, the later one
  const own = (opening = newEngine());
  try {
    say("description" in next ? "Building the panel's package…" : "");
    const info = await own.call("open", [next, settings.dither]);
    engine.close();
    [engine, opening, panel, source, sent] = [own, undefined, info, next, ""];
    const option = document.querySelector<HTMLOptionElement>("#panel option[value=own]")!;
    option.hidden = "builtin" in next;
    option.textContent = info.name + (info.size ? `, ${info.size.width} × ${info.size.height}` : "");
    element<HTMLSelectElement>("panel").value = option.hidden ? info.name : "own";
    element("own-size").hidden = info.size !== undefined;
    showProgress(undefined);
    say(photo ? "" : `${info.name}: ${info.colours.length} colours`);
    showSettings();
    await refresh();
  } catch (error) {
    own.close();
    if (opening !== own) return;
    opening = undefined;
    if (!panel && !("builtin" in next)) await openPanel({ builtin: "six-colour" });
    fail(error);
  }
}

async function openPanelFile(file: File): Promise<void> {
  const bytes = new Uint8Array(await file.arrayBuffer());
  const next = bytes.includes(0) ? { bytes, options: { name: file.name } } // JSON has no NUL
                                 : { description: new TextDecoder().decode(bytes) };
  await openPanel(next);
}

function description(): string {
  if ("description" in source) return source.description;
  const { name, size, layout, colours } = panel!;
  return JSON.stringify({ name: name || "panel", ...size, tft_layout: layout, colours }, null, 2);
}

// Files that the user takes along.

function save(name: string, content: Blob): void {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(content);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60_000);
}

const stem = (name: string) => name.replace(/^.*\//, "").replace(/\.[^.]+$/, "") || "frame";
const bare = (name: string) => name.replace(/\.[^./]+$/, "");
const encoding = (name: string) => ({ format: settings.format, gzip: settings.gzip, fileName: `${stem(name)}.h` });

async function saveFrame(): Promise<void> {
  const { name } = photos[current]!;
  await sendPicture();
  const { bytes, suffix } = await engine.call(
    "frame", [settings.dither as Exclude<Mode, "none">, renderOptions(settings), threshold(settings), encoding(name)]);
  save(stem(name) + suffix, new Blob([bytes]));
}

let batch: Engine | undefined;

/** With an engine of its own, so that the page stays usable and the work can be stopped. */
async function saveAll(): Promise<void> {
  if (settings.dither === "none") return say("Choose a diffusion first.", true);
  const [of, mode] = [settings, settings.dither];
  const own = (batch = new Engine());
  element("stop").hidden = false;
  const files: ZipEntry[] = [];
  const failed: string[] = [];
  try {
    const size = panelSize();
    const { name, layout, colours } = panel!;
    await own.call("open", [{ bytes: await engine.call("package", [mode]),
                              options: { name, layout, colourNames: colours.map(({ name }) => name) } }, mode]);
    const canvas = new OffscreenCanvas(size.width, size.height);
    const context = canvas.getContext("2d", { willReadFrequently: true })!;
    for (const [place, { name, file }] of photos.entries()) {
      showProgress(place / photos.length);
      say(`${place + 1} of ${photos.length}: ${name}`);
      try {
        const bitmap = await decode(name, file);
        draw(context, bitmap, size, { ...of, zoom: 1, x: 0.5, y: 0.5 });
        bitmap.close();
        const { data } = context.getImageData(0, 0, size.width, size.height);
        await own.call("picture", [data.buffer as ArrayBuffer, size.width, size.height], [data.buffer as ArrayBuffer]);
        const { bytes, suffix } = await own.call("frame", [mode, renderOptions(of), threshold(of), encoding(name)]);
        let path = bare(name) + suffix;
        for (let i = 2; files.some((other) => other.name === path); ++i) path = `${bare(name)} ${i}${suffix}`;
        files.push({ name: path, bytes });
      } catch (error) {
        if (error instanceof DOMException) throw error;
        failed.push(error instanceof Error ? error.message : String(error));
      }
    }
    if (files.length > 0) save("frames.zip", zip(files));
    say(failed.length > 0 ? `${files.length} done. ${failed.join(". ")}` : `${files.length} photographs done.`,
        failed.length > 0);
  } catch (error) {
    say("Stopped.");
    fail(error);
  }
  own.close();
  showProgress(undefined);
  element("stop").hidden = true;
}

// The page.

function buildControls(): void {
  for (const { name, title, least, most, step } of sliders) {
    const label = document.createElement("label");
    label.className = "slider";
    const input = document.createElement("input");
    Object.assign(input, { id: name, type: "range", min: least, max: most, step });
    input.oninput = () => change({ [name]: input.valueAsNumber }, false);
    input.onchange = () => change({ [name]: input.valueAsNumber });
    input.ondblclick = () => change({ [name]: neutral[name] });
    const value = document.createElement("output");
    value.id = `${name}-value`;
    label.append(title, input, value);
    element("sliders").append(label);
  }
  element("dither").append(...modes.map((mode) => new Option(diffusionNames[mode], mode)));
  element("format").append(...frameFormats.map((format) => new Option(format, format)));
  element("grid").append(...modes.map((mode) => {
    const item = document.createElement("li");
    const choose = document.createElement("button");
    choose.type = "button";
    choose.onclick = () => {
      document.querySelector<HTMLInputElement>("[name=view][value=panel]")!.click();
      change({ dither: mode });
    };
    const canvas = document.createElement("canvas");
    canvas.dataset.mode = mode;
    const name = document.createElement("span");
    name.textContent = diffusionNames[mode];
    choose.append(canvas, name);
    item.append(choose);
    return item;
  }));
  for (const name of ["dither", "whiteBalance", "format"] as const)
    element<HTMLSelectElement>(name).onchange = (event) =>
      change({ [name]: (event.target as HTMLSelectElement).value });
  for (const name of ["autoLevels", "monochrome", "guard", "gzip"] as const)
    element<HTMLInputElement>(name).onchange = (event) =>
      change({ [name]: (event.target as HTMLInputElement).checked });
  for (const name of ["threshold", "width", "height"] as const)
    element<HTMLInputElement>(name).onchange = (event) => {
      const { valueAsNumber, validity } = event.target as HTMLInputElement;
      change({ [name]: validity.valid && !Number.isNaN(valueAsNumber) ? valueAsNumber : settings[name] });
    };
}

function move(x: number, y: number): void {
  if (!photo) return;
  const { visible, x: middleX, y: middleY } = framing(photo, panelSize(), settings);
  const next = { ...settings, x: middleX - x * visible.width, y: middleY - y * visible.height };
  const kept = framing(photo, panelSize(), next);
  change({ x: kept.x, y: kept.y }, false);
}

function zoom(factor: number): void {
  change({ zoom: Math.min(Math.max(settings.zoom * factor, 1), 16), whole: false }, false);
}

function wire(): void {
  button("choose", () => element("files").click());
  button("add", () => element("files").click());
  button("choose-folder", () => element("folder").click());
  button("open-panel", () => element("panel-file").click());
  for (const id of ["files", "folder", "panel-file"])
    element<HTMLInputElement>(id).onchange = (event) => {
      const input = event.target as HTMLInputElement;
      const files = [...(input.files ?? [])];
      input.value = "";
      void takeFiles(files);
    };
  button("example", async () => {
    const response = await fetch(new URL("../../examples/scene.svg", import.meta.url));
    photos = [...photos, { name: "example.svg", file: await response.blob() }];
    await show(photos.length - 1);
  });
  button("edit-panel", () => panel && editPanel(panel, (typed: PanelDescription) =>
    void openPanel({ description: JSON.stringify(typed) })));
  element<HTMLSelectElement>("panel").onchange = (event) => {
    const { value } = event.target as HTMLSelectElement;
    if (value !== "own") void openPanel({ builtin: value });
  };
  button("rotate", () => change({ rotate: (settings.rotate + 1) % 4, x: 0.5, y: 0.5 }));
  button("zoom-in", () => { zoom(1.25); history.add(settings); showSettings(); });
  button("zoom-out", () => { zoom(0.8); history.add(settings); showSettings(); });
  button("fit", () => change({ whole: !settings.whole }));
  button("undo", () => change(history.move(-1), false));
  button("redo", () => change(history.move(1), false));
  button("reset", () => {
    const { dither, format, gzip, guard, threshold, width, height } = settings;
    change({ ...neutral, dither, format, gzip, guard, threshold, width, height });
  });
  button("save-frame", () => void saveFrame().catch(fail));
  button("save-preview", () => pixels.toBlob((blob) => blob && save(`${stem(photos[current]!.name)}.png`, blob)));
  button("save-package", async () => save(`${panel?.name || "panel"}.lut`, new Blob([await engine.call("package", [settings.dither])])));
  button("save-description", () => save(`${panel?.name || "panel"}.json`, new Blob([description()])));
  button("batch", () => void saveAll());
  button("stop", () => batch?.close());
  button("share", async () => {
    await navigator.clipboard.writeText(location.href).then(() => say("Link copied."), () => say(location.href));
  });
  for (const input of document.querySelectorAll<HTMLInputElement>("[name=view]"))
    input.onchange = () => { view = input.value; showView(); void refresh(); };
  for (const input of document.querySelectorAll<HTMLInputElement>("[name=tool]"))
    input.onchange = showCropping;
  element("split").oninput = showView;
  element<HTMLFormElement>("controls").onsubmit = (event) => event.preventDefault();

  watchPointers(element("large"), () => (view === "original" ? original : pixels), {
    move, zoom,
    settle: () => { history.add(settings); showSettings(); },
    cropping: () => tool() === "crop",
  });
  new ResizeObserver(() => pixels.width > 0 && photo && showShrunk(rendered, pixels)).observe(element("large"));
  document.addEventListener("dragover", (event) => {
    event.preventDefault();
    document.body.classList.add("over");
  });
  document.addEventListener("dragleave", (event) => {
    if (!event.relatedTarget) document.body.classList.remove("over");
  });
  document.addEventListener("drop", (event) => {
    event.preventDefault();
    document.body.classList.remove("over");
    void takeFiles(event.dataTransfer?.files ?? []);
  });
  document.addEventListener("paste", (event) => {
    if (event.clipboardData?.files.length) void takeFiles(event.clipboardData.files);
  });
  document.addEventListener("keydown", (event) => {
    if (!(event.ctrlKey || event.metaKey) || event.key.toLowerCase() !== "z") return;
    if (event.target instanceof HTMLInputElement && event.target.type !== "range") return;
    event.preventDefault();
    element(event.shiftKey ? "redo" : "undo").click();
  });
  addEventListener("hashchange", () => {
    settings = fromAddress(new URLSearchParams(location.hash.slice(1)));
    history.add(settings);
    showSettings();
    void refresh();
  });
}

buildControls();
wire();
showSettings();
showView();
void openPanel(shared ? { description: shared } : source);
