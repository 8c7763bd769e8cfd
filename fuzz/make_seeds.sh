#!/usr/bin/env bash
# Makes the fuzz targets' first inputs out of the documents in the tree: make_seeds.sh <target> <folder>
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
target=$1
folder=$2
mkdir -p "$folder"

shop=examples/print_shop
golden=tests/system/print_shop/golden

# parts <part>...: each followed by the byte that separates parts, but for the last.
parts() {
  cat "$1"
  shift
  local part
  for part in "$@"; do
    printf '\xff'
    cat "$part"
  done
}

# scripts: the job scripts of the golden files, in the narrow form that targets read.
script() { iconv -f UTF-16 -t UTF-8 "$golden/$1.xml"; }

# pointer <offset>: a word that leads to that offset of the case's memory.
pointer() {
  local byte
  for byte in 0 8 16 24; do printf '%b' "\\x$(printf '%02x' $((($1 >> byte) & 255)))"; done
  printf 'PPTR'
}

# links <count>: that many records of three words: the next link, a text, a number.
links() {
  local i
  for ((i = 0; i < $1; ++i)); do
    pointer $(((i + 1) % $1 * 24))
    pointer 4
    printf '\x05\x00\x00\x00\x00\x00\x00\x00'
  done
}

case $target in
  all_together)
    parts <(printf Root) fuzz/documents/{descriptions,rules,script}.xml >"$folder/documents"
    for name in circle one-way; do
      parts <(printf JobScript) $shop/{descriptions,rules}.xml <(script $name) >"$folder/$name"
    done
    ;;
  description_document)
    cp fuzz/documents/descriptions.xml "$folder/documents"
    cp $shop/descriptions.xml "$folder/print_shop"
    cp tests/system/exports/documents/descriptions.xml "$folder/exports"
    ;;
  lint_documents)
    parts <(printf Root) fuzz/documents/{descriptions,rules}.xml >"$folder/documents"
    parts <(printf JobScript) $shop/{descriptions,rules}.xml >"$folder/print_shop"
    for name in tests/system/sbxml/lint/cases/*.txt; do
      section() { awk -v name="=== $1" '/^=== / { isIn = $0 == name; next } isIn' "$name"; }
      parts <(printf Job) <(section descriptions) <(section rules) >"$folder/$(basename "$name" .txt)"
    done
    ;;
  memory_to_xml)
    parts <(printf Link) fuzz/documents/{descriptions,rules}.xml <(links 1) >"$folder/ring"
    parts <(printf Link) fuzz/documents/{descriptions,rules}.xml <(links 7; printf '\x00%.0s' {1..24}) >"$folder/links"
    parts <(printf Root) fuzz/documents/{descriptions,rules}.xml <(links 17) >"$folder/root"
    parts <(printf Root) fuzz/documents/{descriptions,rules}.xml <(printf '\x00%.0s' {1..400}) >"$folder/zeroes"
    parts <(printf JobScript) $shop/{descriptions,rules}.xml <(links 14) >"$folder/print_shop"
    ;;
  rule_document)
    cp fuzz/documents/rules.xml "$folder/documents"
    cp $shop/rules.xml "$folder/print_shop"
    cp tests/system/exports/documents/rules.xml "$folder/exports"
    ;;
  xml_to_memory)
    cp fuzz/documents/script.xml "$folder/documents"
    for name in circle one-way; do script $name >"$folder/$name"; done
    ;;
  *)
    printf 'make_seeds.sh: no target %s\n' "$target" >&2
    exit 1
    ;;
esac
