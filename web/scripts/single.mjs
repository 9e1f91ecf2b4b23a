// Writes the built page as one file, site/oxel.html, which opens without a server: browsers read neither
// modules nor workers from other files of a disk.
import { createHash } from "node:crypto";
import { readFileSync, writeFileSync } from "node:fs";

const site = new URL("../site/", import.meta.url);
const read = (name) => readFileSync(new URL(name, site));
const types = { svg: "image/svg+xml", json: "application/json" };
const inData = (name) =>
  `data:${types[name.split(".").at(-1)] ?? "application/octet-stream"};base64,${read(name).toString("base64")}`;

/** Files that scripts read: the page and its worker read the same. */
const files = {};

/** The script, with its worker, and with files by name. */
function whole(name) {
  return read(name).toString().replace(/new URL\(""\+new URL\("([^"]+)",import\.meta\.url\)\.href,import\.meta\.url\)/g,
    (_, file) => {
      if (file.endsWith(".js"))
        return `URL.createObjectURL(new Blob(["self.ownFiles="+JSON.stringify(ownFiles)+";",${JSON.stringify(whole(`assets/${file}`))}],{type:"text/javascript"}))`;
      files[file] = inData(`assets/${file}`);
      return `new URL(ownFiles[${JSON.stringify(file)}])`;
    })
    .replace('{type:"module"}', "{}"); // a worker of this page's own bytes may only be a classic one
}

/** A page's script, which tells it and its worker what the files are. */
function withFiles(name) {
  const script = whole(name);
  return `window.ownFiles=${JSON.stringify(files)};${script}`.replaceAll("</script", "<\\/script");
}

const hashes = { script: [], style: [] };
function inline(kind, text, attributes = "") {
  hashes[kind].push(`'sha256-${createHash("sha256").update(text).digest("base64")}'`);
  return `<${kind}${attributes}>${text}</${kind}>`;
}

let page = read("index.html").toString()
  .replace(/<script type="module"[^>]* src="\.\/([^"]+)"><\/script>/, (_, name) => inline("script", withFiles(name), ' type="module"'))
  .replace(/<link rel="stylesheet"[^>]* href="\.\/([^"]+)">/, (_, name) => inline("style", read(name).toString()))
  .replace(/(<link rel="icon" href=")\.\/([^"]+)"/, (_, start, name) => `${start}${inData(name)}"`);
page = page.replace(/script-src [^"]*worker-src 'self';/,
  `script-src ${hashes.script} 'wasm-unsafe-eval'; style-src ${hashes.style}; img-src data: blob:; connect-src data:; worker-src blob:;`);
if (/(src|href)="\.\//.test(page) || page.includes("'self'")) throw new Error("something is not in the page itself");
writeFileSync(new URL("oxel.html", site), page);
