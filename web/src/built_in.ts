import type { Described, Tuning } from "./builder.js";
import { PanelError } from "./errors.js";
import { readOwn } from "./module.js";

export const builtInNames = ["six-colour"] as const;

/** Undoes what scripts/panels.mjs does: neighbouring cells differ little, so differences deflate. */
export async function unpack(packed: Uint8Array<ArrayBuffer>): Promise<Uint8Array<ArrayBuffer>> {
  const inflated = new Blob([packed]).stream().pipeThrough(new DecompressionStream("deflate"));
  const bytes = new Uint8Array(await new Response(inflated).arrayBuffer());
  for (let i = 3; i < bytes.length; ++i) bytes[i]! += bytes[i - 3]!;
  return bytes;
}

/** The description, without loading the builder, and the package of a panel. */
export async function builtIn(name: string, tuning: Tuning): Promise<
    Described & { packageBytes: Uint8Array<ArrayBuffer> }> {
  if (!(builtInNames as readonly string[]).includes(name))
    throw new PanelError(`no built-in panel ${JSON.stringify(name)}: there is ${builtInNames.join(", ")}`);
  const [json, packed] = await Promise.all([
    readOwn("six-colour.json"), readOwn(`six-colour.${tuning}.packed`)]);
  const description = JSON.parse(new TextDecoder().decode(json));
  return {
    name,
    size: { width: description.width, height: description.height },
    layout: description.tft_layout,
    colourNames: description.colours.map((colour: { name: string }) => colour.name),
    packageBytes: await unpack(packed),
  };
}
