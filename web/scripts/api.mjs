// Writes the reference of the package's functions and types from its declarations to docs/web-api.md,
// or with --check tells whether it is what it would write.
import { readFile, writeFile } from "node:fs/promises";
import { fileURLToPath } from "node:url";
import ts from "typescript";

const index = fileURLToPath(new URL("../dist/index.d.ts", import.meta.url));
const page = new URL("../../docs/web-api.md", import.meta.url);
const program = ts.createProgram([index], { target: ts.ScriptTarget.ES2022, module: ts.ModuleKind.ES2022,
                                            moduleResolution: ts.ModuleResolutionKind.Bundler });
const checker = program.getTypeChecker();
const exported = checker.getExportsOfModule(checker.getSymbolAtLocation(program.getSourceFile(index)));

let text = `# The npm package: reference

Made by \`web/scripts/api.mjs\` from the declarations. [How to use it](web.md).
`;
for (const symbol of exported) {
  const target = symbol.flags & ts.SymbolFlags.Alias ? checker.getAliasedSymbol(symbol) : symbol;
  const declarations = target.declarations.map((declaration) =>
    ts.isVariableDeclaration(declaration) ? declaration.parent.parent : declaration);
  const doc = ts.displayPartsToString(target.getDocumentationComment(checker));
  const throws = target.getJsDocTags(checker).filter(({ name }) => name === "throws")
    .map((tag) => `\nThrows ${ts.displayPartsToString(tag.text)}\n`).join("");
  const code = declarations.map((declaration) => declaration.getText()
    .replace(/^export declare |^export /, "")
    .replace(/^ {4}(private|#).*\n/gm, ""));
  text += `\n## ${target.name}\n\n${doc ? `${doc}\n${throws}\n` : ""}\`\`\`ts\n${code.join("\n")}\n\`\`\`\n`;
}
if (!process.argv.includes("--check")) {
  await writeFile(page, text);
} else if (await readFile(page, "utf8").catch(() => "") !== text) {
  console.error("docs/web-api.md is not what web/scripts/api.mjs writes");
  process.exitCode = 1;
}
