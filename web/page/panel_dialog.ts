// The table of a panel's colours, typed in place.
import type { PanelDescription } from "../dist/index.js";
import type { PanelInfo } from "./worker.js";

const element = <T extends HTMLElement>(id: string) => document.getElementById(id) as T;
const dialog = element<HTMLDialogElement>("panel-dialog");
const rows = element<HTMLTableSectionElement>("colours");
const field = (name: string) => element<HTMLInputElement>(`panel-${name}`);

const hex = (rgb: readonly number[]) =>
  `#${rgb.map((value) => value.toString(16).padStart(2, "0")).join("")}`;

function addRow(name: string, rgb: readonly number[], tcon: number): void {
  const row = rows.insertRow();
  const input = (type: string, label: string, value: string) => {
    const input = document.createElement("input");
    Object.assign(input, { type, value, required: true });
    input.setAttribute("aria-label", `${label} of colour ${rows.rows.length}`);
    if (type === "number") Object.assign(input, { min: "0", max: "255" });
    row.insertCell().append(input);
    return input;
  };
  const picker = input("color", "Colour", hex(rgb));
  const channels = ["Red", "Green", "Blue"].map((label, i) => input("number", label, String(rgb[i])));
  input("text", "Name", name);
  input("number", "Code", String(tcon));
  picker.oninput = () => channels.forEach((channel, i) => {
    channel.value = String(parseInt(picker.value.slice(1 + 2 * i, 3 + 2 * i), 16));
  });
  for (const channel of channels)
    channel.oninput = () => {
      if (channels.every((other) => other.validity.valid))
        picker.value = hex(channels.map((other) => Number(other.value)));
    };
  const remove = document.createElement("button");
  Object.assign(remove, { type: "button", textContent: "×", onclick: () => row.remove() });
  remove.setAttribute("aria-label", `Remove colour ${rows.rows.length}`);
  row.insertCell().append(remove);
}

function typed(): PanelDescription {
  return {
    name: field("name").value,
    width: Number(field("width").value),
    height: Number(field("height").value),
    tft_layout: Number(field("layout").value),
    colours: [...rows.rows].map((row) => {
      const [, r, g, b, name, tcon] = [...row.querySelectorAll("input")].map(({ value }) => value);
      return { name: name!, rgb: [Number(r), Number(g), Number(b)] as const, tcon: Number(tcon) };
    }),
  };
}

/** Shows the colours, and calls `build` with what the user has made of them. */
export function editPanel(panel: PanelInfo, build: (description: PanelDescription) => void): void {
  rows.replaceChildren();
  for (const { name, rgb, tcon } of panel.colours) addRow(name, rgb, tcon);
  field("name").value = panel.name === "six-colour" ? "my panel" : panel.name;
  field("width").value = String(panel.size?.width ?? 800);
  field("height").value = String(panel.size?.height ?? 480);
  field("layout").value = String(panel.layout);
  element("panel-error").textContent = "";
  element("add-colour").onclick = () => addRow(`colour ${rows.rows.length}`, [128, 128, 128], rows.rows.length);
  element("cancel-panel").onclick = () => dialog.close();
  dialog.querySelector("form")!.onsubmit = (event) => {
    event.preventDefault();
    if (rows.rows.length < 2)
      return void (element("panel-error").textContent = "A panel has at least two colours.");
    dialog.close();
    build(typed());
  };
  dialog.showModal();
}
