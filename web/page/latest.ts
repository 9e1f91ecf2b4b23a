// One piece of work at a time, and always for the latest wish: what is wished for meanwhile waits, and
// of several wishes only the last one is fulfilled. So nothing queues up, however slow the work is.
export class Latest {
  #running = false;
  #wanted = false;
  #wake = () => {};

  /** `work` may end early as soon as `stale()`. It must not throw. */
  constructor(private readonly work: (stale: () => boolean) => Promise<void>) {}

  async ask(): Promise<void> {
    this.#wanted = true;
    this.#wake();
    if (this.#running) return;
    this.#running = true;
    while (this.#wanted) {
      this.#wanted = false;
      await this.work(() => this.#wanted);
    }
    this.#running = false;
  }

  /** Has the work wait so long, or until there is something newer to do. */
  pause(milliseconds: number): Promise<void> {
    if (this.#wanted) return Promise.resolve();
    return new Promise((resolve) => {
      const timer = setTimeout(resolve, milliseconds);
      this.#wake = () => { clearTimeout(timer); resolve(); };
    });
  }
}
