#!/bin/sh
# dynamic_section.sh READELF LIBRARY
# Programs find the library by its name; services that the platform keeps point into it, so it is never unmapped.
set -eu
section=$("$1" -dW "$2")
for wanted in 'Library soname: \[libqm\.so\]' 'Flags:.* NODELETE'; do
    echo "$section" | grep -q "$wanted" || { echo "$2 lacks: $wanted"; echo "$section"; exit 1; }
done
