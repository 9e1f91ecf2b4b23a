import { defineConfig } from "vitest/config";

export default defineConfig({
  test: {
    setupFiles: ["tests/setup.ts"], include: ["tests/*.test.ts"], maxWorkers: 2, minWorkers: 1,
    testTimeout: 300_000, hookTimeout: 300_000,
  },
});
