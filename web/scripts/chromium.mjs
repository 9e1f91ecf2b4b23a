import { chromium } from "playwright-core";

/** Starts the browser that tests and benches look at the page with. */
export function startChromium() {
  return chromium.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: ["--no-sandbox", "--js-flags=--max-old-space-size=1024"],
  });
}
