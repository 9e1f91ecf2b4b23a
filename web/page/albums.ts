// Albums of the server that the page comes from: to look through, and to crop for its devices.
import * as server from "./server.js";
import type { AlbumPicture, Crop, Device } from "./server.js";

/** Where a photograph comes from, with the crops that it has. */
export interface Origin { album: string; picture: AlbumPicture }

export interface AlbumActions {
  open(name: string, file: Blob, origin: Origin): Promise<void>;
  openDevice(device: Device, bytes: Uint8Array<ArrayBuffer>, panel: server.DevicePanel): Promise<void>;
  /** The crop that is shown; nothing if it is none of the upright picture. */
  crop(): Crop | undefined;
  showCrop(crop: Crop | undefined): void;
  say(text: string, bad?: boolean): void;
}

const element = <T extends HTMLElement = HTMLElement>(id: string) => document.getElementById(id) as T;
const dialog = element<HTMLDialogElement>("albums-dialog");
const list = element<HTMLUListElement>("album-pictures");
const albumChoice = element<HTMLSelectElement>("album");
const deviceChoice = element<HTMLSelectElement>("device");
const pageful = 120;
const atOnce = 4; // thumbnails that are asked for

let actions: AlbumActions;
let devices: Device[] = [];
let opened: string | undefined; // the device whose panel is open
let shown: Origin | undefined;

const attempt = (work: () => Promise<void>) => async () => {
  try {
    await work();
  } catch (error) {
    if (error instanceof DOMException && error.name === "AbortError") return;
    const text = error instanceof Error ? error.message : String(error);
    element("album-status").textContent = dialog.open ? text : "";
    if (!dialog.open) actions.say(text, true);
  }
};

// The grid of thumbnails.

/** Thumbnails of what has come into sight; of those that left it none is asked for. */
class Thumbnails {
  readonly #wanted = new Map<Element, string>();
  readonly #urls: string[] = [];
  readonly #stop = new AbortController();
  readonly #watch = new IntersectionObserver((entries) => {
    for (const { target, isIntersecting } of entries)
      if (isIntersecting) this.#wanted.set(target, (target as HTMLElement).dataset.name!);
      else this.#wanted.delete(target);
    while (this.#running < atOnce && this.#wanted.size > this.#running) void this.#work();
  }, { root: list, rootMargin: "200px" });
  #running = 0;

  constructor(private readonly album: string) {}

  add(item: HTMLElement): void {
    this.#watch.observe(item);
  }

  close(): void {
    this.#stop.abort();
    this.#watch.disconnect();
    this.#urls.forEach((url) => URL.revokeObjectURL(url));
  }

  async #work(): Promise<void> {
    ++this.#running;
    for (let next; !this.#stop.signal.aborted && (next = this.#wanted.entries().next().value); ) {
      const [item, name] = next;
      this.#wanted.delete(item);
      this.#watch.unobserve(item);
      try {
        const url = URL.createObjectURL(await server.thumbnail(this.album, name, this.#stop.signal));
        this.#urls.push(url);
        item.querySelector("img")!.src = url;
      } catch {
        item.classList.add("unseen-picture"); // its name is there
      }
    }
    --this.#running;
  }
}

let thumbnails: Thumbnails | undefined;
let showMore = () => {};
const more = new IntersectionObserver((entries) => {
  if (entries.some(({ isIntersecting }) => isIntersecting)) showMore();
}, { root: list, rootMargin: "600px" });

function describeCrops(item: HTMLElement, { crops }: AlbumPicture): void {
  const names = Object.keys(crops);
  item.querySelector("small")!.textContent = names.length > 0 ? `cropped for ${names.join(", ")}` : "";
}

function itemOf(origin: Origin): HTMLElement {
  const item = document.createElement("li");
  item.setAttribute("role", "option");
  item.setAttribute("aria-selected", "false");
  item.tabIndex = -1;
  item.dataset.name = origin.picture.name;
  const image = document.createElement("img");
  image.alt = "";
  const name = document.createElement("span");
  name.textContent = origin.picture.name;
  item.append(image, name, document.createElement("small"));
  describeCrops(item, origin.picture);
  item.onclick = attempt(async () => {
    element("album-status").textContent = `Opening ${origin.picture.name}…`;
    const file = await server.picture(origin.album, origin.picture.name);
    dialog.close();
    await actions.open(origin.picture.name, file, origin);
  });
  return item;
}

async function showAlbum(): Promise<void> {
  const album = albumChoice.value;
  thumbnails?.close();
  more.disconnect();
  list.replaceChildren();
  const pictures = await server.pictures(album);
  if (album !== albumChoice.value) return; // of two, the later one
  const own = (thumbnails = new Thumbnails(album));
  let next = 0;
  showMore = () => {
    more.disconnect();
    for (const end = Math.min(next + pageful, pictures.length); next < end; ++next) {
      const item = itemOf({ album, picture: pictures[next]! });
      list.append(item);
      own.add(item);
    }
    if (next < pictures.length) more.observe(list.lastElementChild!);
  };
  if (pictures.length > 0) showMore();
  if (list.firstElementChild) (list.firstElementChild as HTMLElement).tabIndex = 0;
  element("album-status").textContent = pictures.length > 0 ? `${pictures.length} pictures` : "This album is empty.";
}

/** One of the pictures can have the focus; arrow keys move it. */
function moveFocus(event: KeyboardEvent): void {
  const items = [...list.children] as HTMLElement[];
  const place = items.indexOf(document.activeElement as HTMLElement);
  if (place < 0) return;
  const columns = items.findIndex(({ offsetTop }) => offsetTop > items[0]!.offsetTop);
  const row = columns > 0 ? columns : items.length;
  const steps: Record<string, number> = {
    ArrowLeft: -1, ArrowRight: 1, ArrowUp: -row, ArrowDown: row, Home: -place, End: items.length - 1 - place };
  const step = steps[event.key];
  if (event.key === "Enter" || event.key === " ") items[place]!.click();
  else if (step === undefined) return;
  else {
    const next = items[Math.min(Math.max(place + step, 0), items.length - 1)]!;
    items[place]!.tabIndex = -1;
    next.tabIndex = 0;
    next.focus();
  }
  event.preventDefault();
}

async function browse(): Promise<void> {
  dialog.showModal();
  const [albums, known] = await Promise.all([server.albums(), server.devices()]);
  devices = known;
  const before = albumChoice.value;
  albumChoice.replaceChildren(...albums.map(({ name, pictures }) => new Option(`${name} (${pictures})`, name)));
  if (albums.some(({ name }) => name === before)) albumChoice.value = before;
  if (albums.length > 0) await showAlbum();
  else element("album-status").textContent = "The server has no albums.";
}

// The line of the device for which a picture is cropped.

const deviceOf = (id: string) => devices.find((device) => device.id === id);

function showLine(): void {
  element("device-line").hidden = !shown || devices.length === 0;
  element<HTMLButtonElement>("forget-crop").disabled = !shown?.picture.crops[deviceChoice.value];
}

async function chooseDevice(): Promise<void> {
  const device = deviceOf(deviceChoice.value);
  if (!device) return;
  if (opened !== device.id) {
    const { panel, bytes } = await server.devicePanel(device.id);
    await actions.openDevice(device, bytes, panel);
    opened = device.id;
  }
  actions.showCrop(shown?.picture.crops[device.id]);
  showLine();
}

async function note(forget: boolean): Promise<void> {
  const origin = shown!;
  const device = deviceChoice.value;
  const crop = forget ? undefined : actions.crop();
  if (!forget && !crop) throw new Error("A device's crop is upright and fills its panel: turn the picture back, or zoom in.");
  await server.noteCrop(origin.album, origin.picture.name, device, crop);
  const { crops } = origin.picture;
  if (crop) crops[device] = crop;
  else delete crops[device];
  for (const item of list.children)
    if ((item as HTMLElement).dataset.name === origin.picture.name) describeCrops(item as HTMLElement, origin.picture);
  if (forget) actions.showCrop(undefined);
  showLine();
  actions.say(crop ? `Cropped for ${device}.` : `${device} crops ${origin.picture.name} by itself again.`);
}

/** To be called when a photograph is shown, or another panel than a device's has been opened. */
export async function showOrigin(origin: Origin | undefined): Promise<void> {
  shown = origin;
  if (origin && devices.length > 0) {
    const own = devices.find(({ source }) => source === `album ${origin.album}`);
    const before = deviceOf(deviceChoice.value) && opened ? deviceChoice.value : (own ?? devices[0]!).id;
    deviceChoice.replaceChildren(...devices.map(({ id, width, height }) => new Option(`${id}, ${width} × ${height}`, id)));
    deviceChoice.value = before;
    await attempt(chooseDevice)();
  }
  showLine();
}

export function forgetDevice(): void {
  opened = undefined;
}

/** Shows the button, if the page comes from a server that has albums. */
export async function watchAlbums(own: AlbumActions): Promise<void> {
  actions = own;
  if (!await server.hasAlbums()) return;
  element("albums").hidden = false;
  element("local").textContent = "Only crops that you save go to this server.";
  element("albums").onclick = attempt(browse);
  albumChoice.onchange = attempt(showAlbum);
  deviceChoice.onchange = attempt(chooseDevice);
  list.onkeydown = moveFocus;
  element("close-albums").onclick = () => dialog.close();
  element("save-crop").onclick = attempt(() => note(false));
  element("forget-crop").onclick = attempt(() => note(true));
}
