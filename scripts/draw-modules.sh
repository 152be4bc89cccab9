#!/bin/bash
# Draws the folders of the library and which of them include which, as docs/layout.md shows them.
# An arrow that others imply is left out. Without arguments it rewrites the picture in that page;
# with --check it fails where the page shows something else.
set -euo pipefail
cd "$(dirname "$0")/.."

picture() {
  echo '```mermaid'
  echo 'graph BT'
  local folder folders=()
  for folder in */; do
    case $folder in
      bench/ | build/ | cmake/ | docs/ | examples/ | fuzz/ | packaging/ | scripts/ | tests/) ;;
      *) folders+=("$folder") ;;
    esac
  done
  grep -ro --include='*.hpp' --include='*.cpp' '^#include "[a-z]*/' "${folders[@]}" |
    sed -E 's|^([a-z]*)/[^:]*:#include "([a-z]*)/|\1 \2|' | sort -u |
    awk '$1 != $2 { to[$1] = to[$1] " " $2; edge[$1, $2] = 1 }
      function reaches(from, target,   list, n, i) {
        n = split(to[from], list, " ")
        for (i = 1; i <= n; ++i) if (list[i] == target || reaches(list[i], target)) return 1
        return 0
      }
      function isImplied(from, target,   list, n, i) {
        n = split(to[from], list, " ")
        for (i = 1; i <= n; ++i) if (list[i] != target && reaches(list[i], target)) return 1
        return 0
      }
      END {
        for (e in edge) {
          split(e, ends, SUBSEP)
          if (!isImplied(ends[1], ends[2])) print "  " ends[1] " --> " ends[2]
        }
      }' | sort
  echo '```'
}

page=docs/layout.md
drawn=$(awk -v picture="$(picture)" '
  /^```mermaid$/ { print picture; inside = 1 }
  !inside { print }
  /^```$/ { inside = 0 }' "$page")
if [[ "${1:-}" == --check ]]; then
  diff <(echo "$drawn") "$page" || { echo "run scripts/draw-modules.sh" >&2; exit 1; }
else
  echo "$drawn" > "$page"
fi
