// Drafts on the page's own thread, as long as they are quick. There they are in the next picture that the
// screen takes, which they would miss on the way to the worker and back; but the page stands still meanwhile.
import { Panel, type Dither, type Image, type Picture } from "../dist/index.js";
import type { Engine } from "./engine.js";
import type { ShownOptions } from "./worker.js";

const most = 16; // milliseconds: as long as a screen shows a picture

interface Own { mode: Dither; panel?: Panel } // as soon as it is open

export class Drafts {
  #own: Own | undefined;
  #pace = Infinity; // milliseconds a pixel, of the last draft
  #sent: Picture | undefined; // what the worker has
  #bytes = new Uint8Array(0);

  constructor(private readonly engine: Engine) {}

  /** The worker has a better package now. */
  forget(): void {
    this.#own = undefined;
  }

  /** The picture must not change; the image does with the next draft. */
  async render(picture: Picture, options: ShownOptions): Promise<Image> {
    const pixels = picture.width * picture.height;
    if (this.#own?.mode !== options.dither) {
      const own: Own = (this.#own = { mode: options.dither });
      const { image, bytes } = await this.#send(picture, options, true);
      void Panel.fromPackage(bytes!).then((panel) => { own.panel = panel; });
      return image;
    }
    if (!this.#own.panel || this.#pace * pixels > most) return this.renderAway(picture, options);
    if (this.#bytes.length !== 4 * pixels) this.#bytes = new Uint8Array(4 * pixels);
    const start = performance.now();
    const image = this.#own.panel.render(picture, { ...options, into: this.#bytes });
    this.#pace = (performance.now() - start) / pixels;
    return image;
  }

  /** The same in the worker. */
  async renderAway(picture: Picture, options: ShownOptions): Promise<Image> {
    return (await this.#send(picture, options, false)).image;
  }

  async #send(picture: Picture, options: ShownOptions, withPackage: boolean) {
    const { width, height } = picture;
    if (this.#sent !== picture) {
      const { buffer } = Uint8Array.from(picture.data);
      await this.engine.call("draft", [buffer, width, height], [buffer]);
      this.#sent = picture;
    }
    const draft = await this.engine.call("renderDraft", [options, withPackage]);
    this.#pace = draft.took / (width * height);
    return draft;
  }
}
