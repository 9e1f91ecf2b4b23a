import { dithers, frameFormats, tuningFor, tunings, type Described, type Dither, type Image, type PanelDescription, type PanelOptions, type Picture, type Tuning } from "../dist/index.js";
import { Drafts } from "./drafts.js";
import { Engine } from "./engine.js";
import { forgetDevice, showOrigin, watchAlbums, type Origin } from "./albums.js";
import { cropOf, draw, framing, settingsOf, type Size } from "./framing.js";
import { Latest } from "./latest.js";
import { editPanel } from "./panel_dialog.js";
import { watchPointers } from "./pointer.js";
import { fromAddress, History, neutral, sliders, toAddress, type Settings } from "./settings.js";
import type { PanelInfo, PanelSource, Shown, ShownOptions } from "./worker.js";
import { zip, type ZipEntry } from "./zip.js";

const element = <T extends HTMLElement = HTMLElement>(id: string) => document.getElementById(id) as T;
const button = (id: string, action: () => void) => (element(id).onclick = action);
const original = element<HTMLCanvasElement>("original");
const rendered = element<HTMLCanvasElement>("rendered");
const originalContext = original.getContext("2d", { willReadFrequently: true })!;
/** The rendering, pixel by pixel; `rendered` shows it at the size that there is room for. */
let truth: Image | undefined;
const pixels = document.createElement("canvas");
const drafting = new OffscreenCanvas(1, 1).getContext("2d", { willReadFrequently: true })!;

const shared = new URLSearchParams(location.hash.slice(1)).get("panel");
let settings = fromAddress(new URLSearchParams(location.hash.slice(1)));
const history = new History(settings);
let photos: { name: string; file: Blob; origin?: Origin }[] = [];
let current = 0;
let photo: ImageBitmap | undefined;
let panel: PanelInfo | undefined;
let source: PanelSource = { builtin: "six-colour" };
let engine = newEngine();
let drafts = new Drafts(engine);
let view = "panel";

let pointers = { refresh: () => {} }; // the loupe, once it is there

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

const diffusionNames: Record<Dither, string> = {
  "floyd": "Floyd–Steinberg", "floyd-serpentine": "Floyd–Steinberg, serpentine",
  "jjn": "Jarvis–Judice–Ninke", "jjn-serpentine": "Jarvis–Judice–Ninke, serpentine",
  "stucki": "Stucki", "stucki-serpentine": "Stucki, serpentine", "none": "None",
};

/** A package does not tell its panel's size. */
const panelSize = () => panel?.size ?? { width: settings.width, height: settings.height };

function renderOptions(of: Settings, mode = of.dither): ShownOptions {
  const { inks, shadows, highlights, clarity, sharpen, whiteBalance, autoLevels, monochrome } = of;
  const { hue, saturation, brightness, contrast, gamma } = of;
  return {
    dither: mode, inks, rgba: true, output: of.nominal && panel!.colours.length === 6 ? "nominal" : "eo",
    development: { shadows, highlights, clarity, sharpen, whiteBalance, autoLevels, monochrome },
    adjustment: { hue, saturation, brightness, contrast, gamma },
  };
}

/** Without diffusion there is no guard. */
const threshold = (of: Settings, mode = of.dither) => (of.guard && mode !== "none" ? of.threshold : undefined);

function showSettings(): void {
  for (const { name } of sliders) {
    element<HTMLInputElement>(name).value = String(settings[name]);
    const [shown, value] = [element(`${name}-value`), settings[name]];
    const text = name === "gamma" ? value.toFixed(2) : String(value);
    if (shown.textContent !== text) shown.textContent = text; // or all would be laid out anew
  }
  for (const name of ["dither", "inks", "whiteBalance", "format"] as const)
    element<HTMLSelectElement>(name).value = settings[name];
  for (const name of ["autoLevels", "monochrome", "nominal", "guard", "gzip"] as const)
    element<HTMLInputElement>(name).checked = settings[name];
  for (const name of ["threshold", "width", "height"] as const)
    element<HTMLInputElement>(name).value = String(settings[name]);
  for (const canvas of element("grid").querySelectorAll("canvas"))
    canvas.parentElement!.setAttribute("aria-pressed", String(canvas.dataset.mode === settings.dither));
  element("fit").setAttribute("aria-pressed", String(settings.whole));
  element<HTMLButtonElement>("undo").disabled = !history.canUndo;
  element<HTMLButtonElement>("redo").disabled = !history.canRedo;
  element<HTMLButtonElement>("save-frame").disabled = !photo;
  element<HTMLButtonElement>("save-preview").disabled = !photo;
  if (!moving) showAddress(); // browsers refuse to change it many times a second
}

function showAddress(): void {
  const address = toAddress(settings);
  if ("description" in source) address.set("panel", source.description);
  const hash = address.toString();
  if (hash !== location.hash.slice(1))
    window.history.replaceState(null, "", hash ? `#${hash}` : location.pathname + location.search);
}

/** Changes settings; `settled` when the user has let go, so that undo comes back here. */
function change(changes: Partial<Settings>, settled = true): void {
  settings = { ...settings, ...changes };
  moving = !settled;
  if (settled) history.add(settings);
  showSettings();
  void rendering.ask();
}

// Rendering: what the eye sees first, then the panel's own pixels.

let moving = false; // the user drags something
let sent = ""; // the picture that the worker has
let draft: { key: string; picture: Picture } | undefined; // at the size that it is shown
let drafted = ""; // what is shown, if it is a draft
const rendering = new Latest(async (stale) => {
  if (!photo || !panel) return;
  const by = engine;
  try {
    await (view === "all" ? renderAll(settings, stale) : renderLarge(settings, stale));
  } catch (error) {
    if (engine === by) fail(error);
    else void rendering.ask(); // another panel has been opened
  }
});

const framingOf = (of: Settings, size: Size) =>
  JSON.stringify([current, size, of.rotate, of.whole, of.zoom, of.x, of.y]);

function drawOriginal(of: Settings): void {
  const size = panelSize();
  if (original.width !== size.width || original.height !== size.height) Object.assign(original, size);
  draw(originalContext, photo!, size, of);
}

/** Has the worker take the photograph, in the panel's size. */
async function send(of: Settings): Promise<void> {
  const { width, height } = panelSize();
  const key = framingOf(of, { width, height });
  if (key === sent) return;
  drawOriginal(of);
  const { data } = originalContext.getImageData(0, 0, width, height);
  await engine.call("picture", [data.buffer as ArrayBuffer, width, height], [data.buffer as ArrayBuffer]);
  sent = key;
}

const draftOptions = (of: Settings, mode = of.dither) => ({ ...renderOptions(of, mode), draft: true });

/** The photograph in nearly a rendering's place: in as many pixels as the canvas has on the screen. */
function drawDraft(size: Size, of: Settings): Picture {
  const key = framingOf(of, size);
  if (key !== draft?.key) {
    Object.assign(drafting.canvas, size);
    draw(drafting, photo!, size, of);
    draft = { key, picture: drafting.getImageData(0, 0, size.width, size.height) };
  }
  return draft.picture;
}

/** The size in which the screen shows the panel's pixels, or nothing if not reduced. */
function roomOf(canvas: HTMLCanvasElement): Size | undefined {
  const { width, height } = panelSize();
  const room = Math.round(canvas.clientWidth * devicePixelRatio);
  return room > 0 && room < width && view !== "pixels"
    ? { width: room, height: Math.max(1, Math.round((room * height) / width)) } : undefined;
}

function paint(canvas: HTMLCanvasElement, { data, width, height }: Image): void {
  if (canvas.width !== width || canvas.height !== height) Object.assign(canvas, { width, height });
  canvas.getContext("2d")!.putImageData(
    new ImageData(new Uint8ClampedArray(data.buffer), width, height), 0, 0);
}

function count(what: "renders" | "drafts"): void {
  document.body.dataset[what] = String(Number(document.body.dataset[what] ?? 0) + 1);
}

/** Shows the panel's pixels, reduced if there is no room. */
async function renderTruly(canvas: HTMLCanvasElement, mode: Dither, of: Settings) {
  await send(of);
  const room = roomOf(canvas);
  const options = { ...renderOptions(of, mode), ...(room && { reduced: room }) };
  const result = await engine.call("render", [options, threshold(of, mode)]);
  paint(canvas, result.image.reduced ?? result.image);
  return result;
}

async function renderLarge(of: Settings, stale: () => boolean): Promise<void> {
  const { width, height } = panelSize();
  element("large").style.setProperty("--ratio", String(width / height));
  element("large").style.setProperty("--width", `${width / devicePixelRatio}px`);
  if (!original.hidden) drawOriginal(of);
  const room = roomOf(rendered) ?? panelSize();
  if (moving || room.width * room.height < 0.6 * width * height) {
    const wanted = JSON.stringify([of, room]);
    if (wanted !== drafted) {
      paint(rendered, await drafts.render(drawDraft(room, of), draftOptions(of)));
      drafted = wanted;
      count("drafts");
    }
    // The panel's pixels take long enough for the next movement to wait for them.
    if (moving) await rendering.pause(300);
    if (stale()) return;
  }
  const shown = await renderTruly(rendered, of.dither, of);
  drafted = "";
  truth = shown.image;
  count("renders");
  element("verdict").textContent = verdictOf(shown);
  pointers.refresh();
}

async function renderAll(of: Settings, stale: () => boolean): Promise<void> {
  const canvases = [...element("grid").querySelectorAll("canvas")];
  const { width, height } = panelSize();
  for (const canvas of canvases) canvas.style.setProperty("aspect-ratio", `${width} / ${height}`);
  for (const truly of [false, true])
    for (const canvas of canvases) {
      const mode = canvas.dataset.mode as Dither;
      const room = roomOf(canvas);
      if (truly) {
        const { image } = await renderTruly(canvas, mode, of);
        if (mode === of.dither) truth = image;
      } else if (room) {
        paint(canvas, await drafts.renderAway(drawDraft(room, of), draftOptions(of, mode)));
      }
      if (stale()) return;
    }
  count("renders");
}

function verdictOf({ verdict, measure }: Shown): string {
  if (!verdict || !measure) return "";
  const [first, shifted] = [measure.first.toFixed(3), measure.shifted.toFixed(3)];
  return { passed: `${first}: passes as it is.`,
           shifted: `${first} as it is; passes moved down by a row, with ${shifted}.`,
           blanked: `${first}, and ${shifted} moved down by a row: refused, the frame is blank.` }[verdict];
}

/** The rendering's pixels for those who draw or save them. */
function truePixels(): HTMLCanvasElement {
  if (truth) paint(pixels, truth);
  truth = undefined;
  return pixels;
}

function showView(): void {
  const large = view !== "all";
  element("large").hidden = !large;
  element("grid").hidden = large;
  element("large").classList.toggle("pixels", view === "pixels");
  element("split-line").hidden = view !== "split";
  original.hidden = view !== "original" && view !== "split";
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
    await image.decode().finally(() => URL.revokeObjectURL(image.src));
    return createImageBitmap(image);
  }
}

let showing = 0;

async function show(place: number): Promise<void> {
  const { name, file, origin } = photos[place]!;
  const turn = ++showing;
  try {
    const bitmap = await decode(name, file);
    if (turn !== showing) return bitmap.close(); // of two, the later one
    photo?.close();
    photo = bitmap;
    current = place;
    [sent, draft, drafted] = ["", undefined, ""];
    truth = undefined;
    element("work").hidden = false;
    if (element("empty").contains(document.activeElement)) element("large").focus();
    element("empty").hidden = true;
    say(`${name}, ${bitmap.width} × ${bitmap.height}`);
    showStrip();
    showSettings();
    await rendering.ask();
    await showOrigin(origin);
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
    item.setAttribute("aria-current", String(place === current));
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
let builder: Engine | undefined;

async function openPanel(next: { builtin: string } | { bytes: Uint8Array<ArrayBuffer>; options: PanelOptions } |
                               { description: string }): Promise<void> {
  forgetDevice();
  opening?.close(); // of two, the later one
  builder?.close();
  const own = (opening = newEngine());
  try {
    if ("description" in next) say("Building the panel's package…");
    const described = "description" in next
      ? { ...next, described: await own.call("describe", [next.description]) } : next;
    const info = "description" in described ? await openTyped(own, described)
                                           : await own.call("open", [described, settings.dither]);
    engine.close();
    [engine, drafts, opening, panel, source, sent, drafted] = [own, new Drafts(own), undefined, info, described, "", ""];
    const option = document.querySelector<HTMLOptionElement>("#panel option[value=own]")!;
    option.hidden = "builtin" in next;
    option.textContent = info.name + (info.size ? `, ${info.size.width} × ${info.size.height}` : "");
    element<HTMLSelectElement>("panel").value = option.hidden ? info.name : "own";
    element("own-size").hidden = info.size !== undefined;
    element("nominal-line").hidden = info.colours.length !== 6;
    if (!("description" in next)) showProgress(undefined);
    if (!photo || "description" in next) say(`${info.name}: ${info.colours.length} colours`);
    showSettings();
    await rendering.ask();
  } catch (error) {
    own.close();
    if (opening !== own) return;
    opening = undefined;
    if (!panel && !("builtin" in next)) await openPanel({ builtin: "six-colour" });
    fail(error);
  }
}

/**
 * Opens a typed panel with a package that is roughly right. Those of the command follow while the page is
 * used: first the one for the diffusion that is shown, which is shown again. Files wait for theirs.
 */
async function openTyped(to: Engine, typed: { description: string; described: Described }): Promise<PanelInfo> {
  const own = (builder = newEngine());
  const first = tuningFor(settings.dither);
  const build = (tuning: Tuning, rough = false) => own.call("build", [typed.description, tuning, rough]);
  const roughly = await build(first, true);
  const info = await to.call("open", [typed, settings.dither, roughly], [roughly.buffer]);
  void (async () => {
    await to.call("adopt", [first, await build(first)]);
    drafts.forget();
    showProgress(undefined);
    own.progress = () => {};
    void rendering.ask();
    for (const tuning of [...tunings].reverse()) // the slowest, for none, last
      if (tuning !== first) await to.call("adopt", [tuning, await build(tuning)]);
    own.close();
    void rendering.ask(); // perhaps in another diffusion
  })().catch(fail);
  return info;
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
  await send(settings);
  const { bytes, suffix } = await engine.call(
    "frame", [renderOptions(settings), threshold(settings), encoding(name)]);
  save(stem(name) + suffix, new Blob([bytes]));
}

async function savePackage(): Promise<void> {
  save(`${panel?.name || "panel"}.lut`, new Blob([await engine.call("package", [settings.dither])]));
}

async function savePreview(): Promise<void> {
  const name = `${stem(photos[current]!.name)}.png`;
  if ("description" in source) {
    await engine.call("package", [settings.dither]); // until it is there
    truth = (await renderTruly(rendered, settings.dither, settings)).image;
  }
  truePixels().toBlob((blob) => blob && save(name, blob));
}

let batch: Engine | undefined;

/** With an engine of its own, so that the page stays usable and the work can be stopped. */
async function saveAll(): Promise<void> {
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
        const { bytes, suffix } = await own.call("frame", [renderOptions(of), threshold(of), encoding(name)]);
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
  element("dither").append(...dithers.map((mode) => new Option(diffusionNames[mode], mode)));
  element("format").append(...frameFormats.map((format) => new Option(format, format)));
  element("grid").append(...dithers.map((mode) => {
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
  for (const name of ["dither", "inks", "whiteBalance", "format"] as const)
    element<HTMLSelectElement>(name).onchange = (event) =>
      change({ [name]: (event.target as HTMLSelectElement).value });
  for (const name of ["autoLevels", "monochrome", "nominal", "guard", "gzip"] as const)
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
  button("zoom-in", () => { zoom(1.25); change({}); });
  button("zoom-out", () => { zoom(0.8); change({}); });
  button("fit", () => change({ whole: !settings.whole }));
  button("undo", () => change(history.move(-1), false));
  button("redo", () => change(history.move(1), false));
  button("reset", () => {
    const { dither, inks, format, gzip, guard, threshold, width, height } = settings;
    change({ ...neutral, dither, inks, format, gzip, guard, threshold, width, height });
  });
  button("save-frame", () => void saveFrame().catch(fail));
  button("save-preview", () => void savePreview().catch(fail));
  button("save-package", () => void savePackage().catch(fail));
  button("save-description", () => save(`${panel?.name || "panel"}.json`, new Blob([description()])));
  button("batch", () => void saveAll());
  button("stop", () => batch?.close());
  button("share", async () => {
    await navigator.clipboard.writeText(location.href).then(() => say("Link copied."), () => say(location.href));
  });
  for (const input of document.querySelectorAll<HTMLInputElement>("[name=view]"))
    input.onchange = () => { view = input.value; showView(); void rendering.ask(); };
  for (const input of document.querySelectorAll<HTMLInputElement>("[name=tool]"))
    input.onchange = showCropping;
  element("split").oninput = showView;
  element<HTMLFormElement>("controls").onsubmit = (event) => event.preventDefault();

  pointers = watchPointers(element("large"), () => (view === "original" ? original : truePixels()), {
    move, zoom,
    settle: () => change({}),
    cropping: () => tool() === "crop",
  });
  new ResizeObserver(() => void rendering.ask()).observe(element("large"));
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
    void rendering.ask();
  });
}

/** Albums and devices, where a server has them. */
function wireAlbums(): Promise<void> {
  return watchAlbums({
    async open(name, file, origin) {
      const known = photos.findIndex((photo) => photo.origin?.album === origin.album && photo.origin.picture.name === name);
      if (known < 0) photos = [...photos, { name, file, origin }];
      await show(known < 0 ? photos.length - 1 : known);
    },
    async openDevice({ id, width, height, format, dither }, bytes, { tft_layout, colours }) {
      await openPanel({ bytes, options: { name: id, size: { width, height }, layout: tft_layout, colourNames: colours.map(({ name }) => name) } });
      element<HTMLInputElement>("crop").click();
      const known = <T extends string>(list: readonly T[], value: string | undefined): T | undefined => list.find((one) => one === value);
      change({ format: known(frameFormats, format) ?? settings.format, dither: known(dithers, dither) ?? settings.dither });
    },
    crop: () => (photo && panel ? cropOf(photo, panelSize(), settings) : undefined),
    showCrop(crop) {
      const { rotate, whole, zoom, x, y } = neutral;
      if (photo) change(crop ? settingsOf(crop, photo, panelSize()) : { rotate, whole, zoom, x, y });
    },
    say,
  });
}

buildControls();
wire();
void wireAlbums();
showSettings();
showView();
void openPanel(shared ? { description: shared } : { builtin: "six-colour" });
