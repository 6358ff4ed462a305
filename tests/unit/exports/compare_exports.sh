#!/bin/sh
# compare_exports.sh LIBRARY LIST INCLUDE_DIR
# The library's dynamic symbols, the list of exports and what the headers declare QM_API must be the same names.
set -eu
library=$1 list=$2 headers=$3
names=$(mktemp -d)
trap 'rm -rf "$names"' EXIT

# An address-sanitizer build adds a marker for each exported variable.
nm -D --defined-only "$library" | awk '{print $NF}' | sed '/^__odr_asan/d' | sort >"$names/library"
sort "$list" >"$names/list"
cat "$headers"/qm/*.h | sed '/^#define/d' | tr '\n' ' ' | grep -o 'QM_API [^;(]*' |
    sed 's/\[.*//; s/ *$//; s/.*[ *]//' | sort >"$names/headers"

[ -s "$names/list" ] || { echo "$list is empty"; exit 1; }
status=0
diff -u --label "$list" --label library "$names/list" "$names/library" || status=1
# Headers have the members of classes by their bare names.
c++filt -p <"$names/list" | sed 's/.*:://' | sort | diff -u --label "$list" --label headers - "$names/headers" || status=1
exit $status
