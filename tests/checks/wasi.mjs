// Runs a program compiled for WASI, in the current folder: wasi.mjs PROGRAM [ARGUMENT ...]
import { readFile } from "node:fs/promises";
import { WASI } from "node:wasi";

const wasi = new WASI({ version: "preview1", args: process.argv.slice(2), preopens: { ".": "." } });
const module = await WebAssembly.compile(await readFile(process.argv[2]));
process.exitCode = wasi.start(await WebAssembly.instantiate(module, wasi.getImportObject()));
