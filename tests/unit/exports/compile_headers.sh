#!/bin/sh
# compile_headers.sh INCLUDE_DIR COMPILER OPTION...
# Every public header compiles alone, with the project's warnings as errors.
set -eu
include=$1
shift
status=0 count=0
cd "$include"
for header in qm.h qm/*.h; do
    echo "#include <$header>" | "$@" -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -pedantic-errors \
        -fsyntax-only -I . - || { echo "$header does not compile alone"; status=1; }
    count=$((count + 1))
done
[ "$count" -gt 10 ] || { echo "only $count headers in $include"; exit 1; }
exit $status
