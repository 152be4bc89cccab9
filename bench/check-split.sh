#!/bin/sh
# Cuts a large model into parts, answers each by itself, and compares all answers with the model's.
#
#   bench/check-split.sh KSEXPR [BLOCKS [PARTS]]    a million blocks and 16 parts, unless said
#
# Takes a few minutes and three gigabytes of the folder for temporary files.
set -eu
ksexpr=$(realpath "${1:?usage: bench/check-split.sh KSEXPR [BLOCKS [PARTS]]}")
blocks=${2:-1000000}
parts=${3:-16}
make_model=$(realpath "$(dirname "$0")/make-model.py")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
export LC_ALL=C

for order in "" --shuffled; do
  "$make_model" "$blocks" $order > model.json
  "$ksexpr" conditions model.json --quiet --format jsonl | sort > whole
  "$ksexpr" split model.json --parts "$parts" > names
  test "$(wc -l < names)" -eq "$parts"
  while read -r part; do
    "$ksexpr" conditions "$part" --quiet --format jsonl | sort > "$part.answers"
    rm "$part"
  done < names
  sort -u --merge model-*.json.answers > together
  cmp whole together
  echo "$blocks blocks${order:+, }${order#--}: the answers of $parts parts are those of the model"
  rm model-*.json.answers
done
