#!/usr/bin/env bash
# Makes the site of the guide and the reference of the calls: build/docs/html/index.html. Warnings are errors.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages doxygen python3

TARNSQL_VERSION=$(sed -n 's/^project(tarnsql VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
export TARNSQL_VERSION
mkdir -p build/docs
python3 docs/doxygen_filter.py --layout >build/docs/layout.xml
doxygen docs/Doxyfile
echo "build/docs/html/index.html"
