// Builds the packages of the built-in panels with the module that was just made, and packs them: each
// in a thread of its own.
import { readFile, writeFile } from "node:fs/promises";
import { fileURLToPath } from "node:url";
import { isMainThread, Worker, workerData as tuning } from "node:worker_threads";
import { deflateSync } from "node:zlib";
import { buildPackage, tunings } from "../dist/index.js";

const description = await readFile(new URL("../../tools/panels/six-colour.json", import.meta.url));
const dist = new URL("../dist/", import.meta.url);
if (isMainThread) {
  await writeFile(new URL("six-colour.json", dist), description);
  for (const tuning of tunings) new Worker(fileURLToPath(import.meta.url), { workerData: tuning });
} else {
  const bytes = await buildPackage(description.toString(), { tuning });
  for (let i = bytes.length; i-- > 3; ) bytes[i] -= bytes[i - 3];
  await writeFile(new URL(`six-colour.${tuning}.packed`, dist), deflateSync(bytes, { level: 9 }));
}
