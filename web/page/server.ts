// What a server that has albums and devices is asked, and what it is told.

/** Left, top, width and height in parts of the upright picture. */
export type Crop = [number, number, number, number];

export interface AlbumPicture { name: string; crops: Record<string, Crop> }
export interface Device { id: string; panel: string; width: number; height: number; format: string; dither?: string; source: string }
export interface DevicePanel { tft_layout: number; colours: { name: string }[] }

const stored = "oxel-token";
const dialog = document.getElementById("token-dialog") as HTMLDialogElement;
const field = document.getElementById("token") as HTMLInputElement;

const urlOf = (...path: string[]) => path.map((part) => part.split("/").map(encodeURIComponent).join("/")).join("/");

/** The token that the user types, or nothing. */
function askForToken(refused: boolean): Promise<string | undefined> {
  document.getElementById("token-error")!.textContent = refused ? "The server does not take this token." : "";
  field.value = "";
  dialog.returnValue = "";
  dialog.showModal();
  return new Promise((resolve) => dialog.addEventListener("close", () => {
    resolve(dialog.returnValue === "use" && field.value ? field.value : undefined);
    field.value = "";
  }, { once: true }));
}

let asking: Promise<string | undefined> | undefined; // many requests may find that they need it

/** Asks with the token, if there is one, and for one if it is needed. Throws what the user should read. */
async function ask(path: string, init: RequestInit = {}): Promise<Response> {
  for (;;) {
    const token = sessionStorage.getItem(stored);
    const response = await fetch(path, { ...init, headers: token ? { Authorization: `Bearer ${token}` } : {} })
      .catch(() => { throw new Error("The server does not answer."); });
    if (response.ok) return response;
    const said = /^text\/plain/.test(response.headers.get("Content-Type") ?? "") ? (await response.text()).trim() : "";
    if (response.status === 403) throw new Error(`The server refuses this: ${said || "forbidden"}`);
    if (response.status !== 401) throw new Error(`${path}: ${said || response.statusText || response.status}`);
    if (token !== sessionStorage.getItem(stored)) continue; // another request has a newer one
    const typed = await (asking ??= askForToken(token !== null).finally(() => (asking = undefined)));
    if (!typed) throw new Error("The server wants a token for this.");
    sessionStorage.setItem(stored, typed);
  }
}

/** Whether the page comes from a server that has albums. */
export async function hasAlbums(): Promise<boolean> {
  if (!/^https?:$/.test(location.protocol)) return false;
  try {
    const response = await fetch("albums", { headers: { Accept: "application/json" } });
    return response.status === 401 ? /^bearer/i.test(response.headers.get("WWW-Authenticate") ?? "")
                                   : response.ok && Array.isArray((await response.json()).albums);
  } catch {
    return false; // a page, or nothing
  }
}

export const albums = async (): Promise<{ name: string; pictures: number }[]> => (await (await ask("albums")).json()).albums;
export const devices = async (): Promise<Device[]> => (await (await ask("devices")).json()).devices;
export const pictures = async (album: string): Promise<AlbumPicture[]> =>
  (await (await ask(urlOf("albums", album))).json()).pictures;
export const picture = async (album: string, name: string): Promise<Blob> =>
  (await ask(urlOf("albums", album, name))).blob();
export const thumbnail = async (album: string, name: string, signal: AbortSignal): Promise<Blob> =>
  (await ask(`${urlOf("albums", album, name)}?thumbnail`, { signal })).blob();

export async function devicePanel(id: string): Promise<{ panel: DevicePanel; bytes: Uint8Array<ArrayBuffer> }> {
  const [panel, bytes] = await Promise.all([ask(urlOf("devices", id, "panel.json")), ask(urlOf("devices", id, "package"))]);
  return { panel: await panel.json(), bytes: new Uint8Array(await bytes.arrayBuffer()) };
}

/** Notes a device's crop of a picture, or that it has none. */
export async function noteCrop(album: string, name: string, device: string, crop: Crop | undefined): Promise<void> {
  await ask(`${urlOf("albums", album, name)}?device=${encodeURIComponent(device)}`,
            crop ? { method: "PUT", body: JSON.stringify({ crop }) } : { method: "DELETE" });
}
