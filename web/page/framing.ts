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
