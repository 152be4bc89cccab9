#!/bin/sh
# Draws docs/report.png, the page of "ksexpr report" on the sample model, with the Debian packages
# chromium and pngquant and the tool of a release build.
set -eu
cd "$(dirname "$0")/.."
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
build/release/tools/ksexpr report examples/pump-station.json -o "$folder/report.html"
chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --user-data-dir="$folder/profile" \
  --window-size=1400,740 --virtual-time-budget=5000 --screenshot="$folder/report.png" \
  "file://$folder/report.html#Mains=1&Power=5&Stages=2&@=Generator" 2> /dev/null
pngquant --strip --force --output docs/report.png 64 "$folder/report.png"
