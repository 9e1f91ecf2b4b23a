// Which part of a photograph fills the panel.
import type { Settings } from "./settings.js";

export interface Size { width: number; height: number }

/** The scale from the photograph's pixels to the panel's, and what of it the panel shows. */
export function framing(photo: Size, panel: Size, settings: Settings) {
  const turned = settings.rotate % 2 ? { width: photo.height, height: photo.width } : photo;
  const scales = [panel.width / turned.width, panel.height / turned.height] as const;
  const scale = settings.whole ? Math.min(...scales) : Math.max(...scales) * settings.zoom;
  const visible = { width: panel.width / scale / turned.width, height: panel.height / scale / turned.height };
  const keep = (middle: number, part: number) =>
    part >= 1 ? 0.5 : Math.min(Math.max(middle, part / 2), 1 - part / 2);
  return { scale, turned, visible,
           x: keep(settings.x, visible.width), y: keep(settings.y, visible.height) };
}

/** What the panel shows of an upright photograph: left, top, width and height in parts of it; nothing if it is turned, or not all panel. */
export function cropOf(photo: Size, panel: Size, settings: Settings): [number, number, number, number] | undefined {
  if (settings.rotate !== 0 || settings.whole) return undefined;
  const { visible, x, y } = framing(photo, panel, settings);
  const start = (middle: number, part: number) => Math.max(middle - part / 2, 0);
  const [left, top] = [start(x, visible.width), start(y, visible.height)];
  return [left, top, Math.min(visible.width, 1 - left), Math.min(visible.height, 1 - top)];
}

/** The settings that show this part of a photograph. */
export function settingsOf(crop: readonly [number, number, number, number], photo: Size, panel: Size): Pick<Settings, "rotate" | "whole" | "zoom" | "x" | "y"> {
  const [left, top, width, height] = crop;
  const scale = Math.max(panel.width / (photo.width * width), panel.height / (photo.height * height));
  const filled = Math.max(panel.width / photo.width, panel.height / photo.height);
  return { rotate: 0, whole: false, zoom: Math.min(Math.max(scale / filled, 1), 16), x: left + width / 2, y: top + height / 2 };
}

export function draw(context: CanvasRenderingContext2D | OffscreenCanvasRenderingContext2D,
                     photo: ImageBitmap, panel: Size, settings: Settings): void {
  const { scale, turned, x, y } = framing(photo, panel, settings);
  context.setTransform(1, 0, 0, 1, 0, 0);
  context.fillStyle = "#fff";
  context.fillRect(0, 0, panel.width, panel.height);
  context.imageSmoothingQuality = "high";
  context.translate(panel.width / 2, panel.height / 2);
  context.scale(scale, scale);
  context.translate((0.5 - x) * turned.width, (0.5 - y) * turned.height);
  context.rotate((settings.rotate * Math.PI) / 2);
  context.drawImage(photo, -photo.width / 2, -photo.height / 2);
  context.setTransform(1, 0, 0, 1, 0, 0);
}
