export { adjust, dithers, inkChoices, Panel, transfer, tuningFor } from "./panel.js";
export type {
  Adjustment, Development, Dither, Inks, Into, Output, PanelOptions, RenderOptions, Verdict,
} from "./panel.js";
export { buildPackage, describe, intents, tunings } from "./builder.js";
export type { BuildOptions, Described, Intent, PanelDescription, Tuning } from "./builder.js";
export { frameFormats } from "./frames.js";
export type { Encoded, EncodeOptions, FrameFormat } from "./frames.js";
export { OxelError, PanelError } from "./errors.js";
export type { StatusName } from "./errors.js";
export type { Image, Picture } from "./image.js";
