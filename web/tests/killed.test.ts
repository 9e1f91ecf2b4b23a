import { spawn } from "node:child_process";
import { once } from "node:events";
import { readdirSync, readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { expect, test } from "vitest";
import { folder } from "./command.js";

/** The command lines of the processes that were started with this in their environment. */
const marked = (mark: string) => readdirSync("/proc").filter((name) => /^\d+$/.test(name)).flatMap((id) => {
  try {
    return readFileSync(`/proc/${id}/environ`, "utf8").includes(mark) ? [readFileSync(`/proc/${id}/cmdline`, "utf8")] : [];
  } catch {
    return []; // it has ended meanwhile
  }
});

test("a killed vitest leaves no process and no browser behind", async () => {
  const root = fileURLToPath(new URL("..", import.meta.url));
  const waiting = join(folder, "waiting.test.ts");
  writeFileSync(waiting, `
    import { test } from ${JSON.stringify(join(root, "node_modules/vitest/dist/index.js"))};
    import { startChromium } from ${JSON.stringify(join(root, "scripts/chromium.mjs"))};
    test("waits", async () => {
      const browser = await startChromium();
      await (await browser.newPage()).goto("about:blank");
      console.log("browser started");
      await new Promise(() => {});
    }, 600_000);`);
  const mark = `OXEL_TEST_MARK=${folder}`;
  writeFileSync(join(folder, "vitest.config.mjs"), `
    import config from ${JSON.stringify(join(root, "vitest.config.ts"))};
    export default { root: ${JSON.stringify(root)}, test: { ...config.test, include: [${JSON.stringify(waiting)}] } };`);
  const vitest = spawn(process.execPath, [join(root, "node_modules/vitest/vitest.mjs"), "run", "--disable-console-intercept",
    "--config", join(folder, "vitest.config.mjs")], { cwd: root, env: { ...process.env, OXEL_TEST_MARK: folder } });
  for await (const text of vitest.stdout) if (String(text).includes("browser started")) break;
  expect(marked(mark).join()).toMatch(/chromium/);
  vitest.kill("SIGKILL");
  await once(vitest, "exit");
  await expect.poll(() => marked(mark), { timeout: 60_000 }).toEqual([]);
});
