#!/bin/sh
# exported_symbols.sh LIBRARY LIST
# Compares what the library exports, names and kinds, with the list: lines "kind name", kind one of
# function, variable (writable data) and constant (read-only data).
set -eu
export LC_ALL=C
library=$1
list=$2

# U and w entries are left out by --defined-only. Weak and unique symbols would be the standard
# library's template instances: they keep their letter and so never match the list.
exported=$(nm -D --defined-only "$library" | awk '
  NF == 3 { letter = $2; name = $3
            kind = "symbol of nm letter " letter
            if (letter == "T") kind = "function"
            if (letter == "B" || letter == "D") kind = "variable"
            if (letter == "R") kind = "constant"
            print kind " " name }' | sort)
difference=$(printf '%s\n' "$exported" | diff - "$list" || true)
if [ -n "$difference" ]; then
  echo "exported but not listed (<), listed but not exported (>):"
  printf '%s\n' "$difference" | grep '^[<>]' | c++filt
  exit 1
fi
echo "$(wc -l <"$list") exported symbols, all as listed"
