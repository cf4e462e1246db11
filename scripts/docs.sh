#!/usr/bin/env bash
# Makes the reference of the calls from the headers: build/docs/html/index.html. Warnings are errors.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages doxygen python3

TARNSQL_VERSION=$(sed -n 's/^project(tarnsql VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
export TARNSQL_VERSION
mkdir -p build/docs
doxygen docs/Doxyfile
echo "build/docs/html/index.html"
