# shellcheck shell=bash
# write_file_of_readme <file> <README> <folder>: writes the fenced block that follows the file's marker in the README.
write_file_of_readme() {
  # shellcheck disable=SC2016  # the dollars are awk's
  awk -v marker="<!-- file: $1 -->" '
    $0 == marker { found = 1; next }
    found && /^```/ { if (inside) exit; inside = 1; next }
    inside { print }' "$2" >"$3/$1"
  [ -s "$3/$1" ] || { printf 'FAILED: %s has no %s\n' "$2" "$1"; exit 1; }
}
