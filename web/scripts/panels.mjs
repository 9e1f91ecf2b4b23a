// Builds the packages of the built-in panels with the module that was just made, and packs them.
import { readFile, writeFile } from "node:fs/promises";
import { deflateSync } from "node:zlib";
import { buildPackage, tunings } from "../dist/index.js";

const description = await readFile(new URL("../../tools/panels/six-colour.json", import.meta.url));
const dist = new URL("../dist/", import.meta.url);
await writeFile(new URL("six-colour.json", dist), description);
for (const tuning of tunings) {
  const bytes = await buildPackage(description.toString(), { tuning });
  for (let i = bytes.length; i-- > 3; ) bytes[i] -= bytes[i - 3];
  await writeFile(new URL(`six-colour.${tuning}.packed`, dist), deflateSync(bytes, { level: 9 }));
}
