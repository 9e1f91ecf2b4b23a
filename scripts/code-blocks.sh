#!/bin/sh
# Prints the code blocks of a language in a Markdown file: code-blocks.sh LANGUAGE FILE
awk -v opening="\`\`\`$1" '$0 == "```" { on = 0 } on; $0 == opening { on = 1 }' "$2"
