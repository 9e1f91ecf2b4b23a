import { defineConfig } from "vite";

export default defineConfig({
  root: "page",
  base: "./", // wherever the files lie
  worker: { format: "es" },
  build: { outDir: "../site", emptyOutDir: true, target: "es2022", assetsInlineLimit: 0, modulePreload: { polyfill: false } },
  server: { fs: { allow: [".."] } },
});
