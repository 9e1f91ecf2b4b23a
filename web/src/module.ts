import { OxelError, PanelError } from "./errors.js";

// What every module exports; the rest is called by name.
interface Exports {
  memory: WebAssembly.Memory;
  _initialize(): void;
  malloc(size: number): number;
  free(address: number): void;
  oxel_reason(): number;
  [name: string]: unknown;
}

/** An instance of one of the WebAssembly modules, with its memory. */
export class Instance {
  /** After a trap, whatever it was about to change may be half changed: it is used no more. */
  broken = false;

  constructor(readonly exports: Exports, private readonly module: WebAssembly.Module) {
    exports._initialize();
  }

  /** Another one of the same module, which imports nothing. */
  renewed(): Instance {
    return new Instance(new WebAssembly.Instance(this.module).exports as unknown as Exports, this.module);
  }

  /** The memory as it is now: a call that allocates takes older views away. */
  get bytes(): Uint8Array {
    return new Uint8Array(this.exports.memory.buffer);
  }

  call(name: string, ...values: number[]): number {
    try {
      return (this.exports[name] as (...values: number[]) => number)(...values);
    } catch (error) {
      if (!(error instanceof WebAssembly.RuntimeError)) throw error;
      this.broken = true;
      const reason = this.text(this.exports.oxel_reason());
      throw reason ? new PanelError(reason) : new OxelError(12);
    }
  }

  text(address: number): string {
    const bytes = this.bytes;
    return new TextDecoder().decode(bytes.slice(address, bytes.indexOf(0, address)));
  }

  number(address: number): number {
    return new DataView(this.exports.memory.buffer).getInt32(address, true);
  }

  /** The names that the function gives at the places from 0 on, until it gives none. */
  names(name: string, ...values: number[]): string[] {
    const names: string[] = [];
    for (let place; (place = this.call(name, ...values, names.length)) !== 0; )
      names.push(this.text(place));
    return names;
  }

  /** What a function has left for the host. */
  result(): Uint8Array<ArrayBuffer> {
    const start = this.call("oxel_result");
    return this.bytes.slice(start, start + this.call("oxel_result_size"));
  }

  /** Runs `work` with memory that is given back when it ends. */
  scoped<T>(work: (allocate: (content: Uint8Array | Uint8ClampedArray | number) => number) => T): T {
    const addresses: number[] = [];
    try {
      return work((content) => {
        const size = typeof content === "number" ? content : content.length;
        const address = this.exports.malloc(size + 1);
        if (address === 0) throw new OxelError(12);
        addresses.push(address);
        if (typeof content !== "number") this.bytes.set(content, address);
        return address;
      });
    } finally {
      if (!this.broken) for (const address of addresses) this.exports.free(address);
    }
  }
}

async function read(url: URL): Promise<Uint8Array<ArrayBuffer>> {
  if (url.protocol === "file:" && typeof process !== "undefined" && process.versions?.node) {
    const { readFile } = await import(/* @vite-ignore */ "node:fs/promises");
    return new Uint8Array(await readFile(url));
  }
  const response = await fetch(url);
  if (!response.ok) throw new Error(`${url}: ${response.status} ${response.statusText}`);
  return new Uint8Array(await response.arrayBuffer());
}

// Vite and others find what belongs to the package by these literals.
const files = {
  oxel: () => new URL("./oxel.wasm", import.meta.url),
  "oxel-simd": () => new URL("./oxel-simd.wasm", import.meta.url),
  frames: () => new URL("./frames.wasm", import.meta.url),
  builder: () => new URL("./builder.wasm", import.meta.url),
  "six-colour.json": () => new URL("./six-colour.json", import.meta.url),
  "six-colour.all.packed": () => new URL("./six-colour.all.packed", import.meta.url),
  "six-colour.floyd.packed": () => new URL("./six-colour.floyd.packed", import.meta.url),
  "six-colour.jjn.packed": () => new URL("./six-colour.jjn.packed", import.meta.url),
  "six-colour.stucki.packed": () => new URL("./six-colour.stucki.packed", import.meta.url),
};
export type FileName = keyof typeof files;

/** Reads a file that comes with the package. */
export function readOwn(name: FileName): Promise<Uint8Array<ArrayBuffer>> {
  return read(files[name]());
}

const compiled = new Map<string, Promise<WebAssembly.Module>>();

/** A fresh instance; each module is read and compiled once. */
export async function instantiate(
  name: "oxel" | "oxel-simd" | "frames" | "builder",
  imports: WebAssembly.Imports = {},
): Promise<Instance> {
  let module = compiled.get(name);
  if (!module) {
    module = readOwn(name).then((bytes) => WebAssembly.compile(bytes));
    compiled.set(name, module);
    module.catch(() => compiled.delete(name)); // the next call tries again
  }
  const instance = await WebAssembly.instantiate(await module, imports);
  return new Instance(instance.exports as unknown as Exports, await module);
}

const functions = ["fd_close", "fd_fdstat_get", "fd_seek"];

/** What the C++ library asks of a system, which it does not get, and warnings, which it may write. */
export function system(
  memory: () => WebAssembly.Memory,
  warn: (text: string) => void = () => {},
): WebAssembly.ModuleImports {
  const absent = Object.fromEntries(functions.map((name) => [name, () => 52])); // ENOSYS
  const fd_write = (_file: number, pieces: number, count: number, written: number) => {
    const view = new DataView(memory().buffer);
    let total = 0;
    let text = "";
    for (let i = 0; i < count; ++i) {
      const size = view.getUint32(pieces + 8 * i + 4, true);
      const start = view.getUint32(pieces + 8 * i, true);
      text += new TextDecoder().decode(new Uint8Array(memory().buffer.slice(start, start + size)));
      total += size;
    }
    if (text) warn(text);
    view.setUint32(written, total, true);
    return 0;
  };
  return { ...absent, fd_write };
}

/** A module that uses SIMD128: what cannot run it does not find it valid. */
const simdProbe = new Uint8Array([
  0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0, 65, 0, 253, 15,
  253, 98, 11,
]);

/** The fastest rendering module that runs here. */
export function renderingModule(simd: boolean | undefined): "oxel" | "oxel-simd" {
  return (simd ?? WebAssembly.validate(simdProbe)) ? "oxel-simd" : "oxel";
}
