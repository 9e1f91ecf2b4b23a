export { adjust, dithers, Panel, transfer } from "./panel.js";
export type {
  Adjustment, Development, Dither, Output, PanelOptions, RenderOptions, Verdict,
} from "./panel.js";
export { buildPackage, describe } from "./builder.js";
export type { BuildOptions, Described, PanelDescription } from "./builder.js";
export { frameFormats } from "./frames.js";
export type { Encoded, EncodeOptions, FrameFormat } from "./frames.js";
export { OxelError, PanelError } from "./errors.js";
export type { StatusName } from "./errors.js";
export type { Image, Picture } from "./image.js";
