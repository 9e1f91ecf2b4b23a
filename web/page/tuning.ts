import { tuningFor, type Tuning } from "../dist/index.js";
import type { Mode } from "./worker.js";

/** Of the package that shows a mode: none diffuses by the same colours as the first one. */
export const tuningOf = (mode: Mode): Tuning => tuningFor(mode === "none" ? "floyd" : mode);
