// The worker's functions, as promises.
import type { Calls } from "./worker.js";

type Result<Name extends keyof Calls> = Awaited<ReturnType<Calls[Name]>>;

export class Engine {
  readonly #worker = new Worker(new URL("./worker.ts", import.meta.url), { type: "module" });
  readonly #waiting = new Map<number, { resolve(value: unknown): void; reject(error: Error): void }>();
  #calls = 0;

  constructor(public progress: (share: number | undefined) => void = () => {}) {
    this.#worker.onmessage = ({ data }) => {
      if ("progress" in data) return this.progress(data.progress);
      const call = this.#waiting.get(data.id);
      this.#waiting.delete(data.id);
      if ("error" in data) call?.reject(new Error(data.error));
      else call?.resolve(data.result);
    };
    this.#worker.onerror = (event) => {
      for (const call of this.#waiting.values()) call.reject(new Error(event.message ?? "The worker does not start: this page must come from a server."));
      this.#waiting.clear();
    };
  }

  call<Name extends keyof Calls>(name: Name, values: Parameters<Calls[Name]>,
                                 transfer: Transferable[] = []): Promise<Result<Name>> {
    const id = ++this.#calls;
    return new Promise((resolve, reject) => {
      this.#waiting.set(id, { resolve: resolve as (value: unknown) => void, reject });
      this.#worker.postMessage({ id, name, values }, transfer);
    });
  }

  close(): void {
    this.#worker.terminate();
    for (const call of this.#waiting.values()) call.reject(new DOMException("stopped", "AbortError"));
  }
}
