#!/bin/sh
# Installs the build in a directory of its own, moves it, and builds and runs a host against what was installed:
# once through the CMake package, once through pkg-config. Usage: run.sh BUILD_DIR SOURCE_DIR CXX [FLAGS...]
set -eu
build=$1
source=$2
cxx=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >"$work/install.log"
mv "$work/first" "$work/moved"  # packages must be relocatable
prefix=$work/moved
libdir=$(dirname "$(find "$prefix" -name libxemmaterialutil.so)")

cmake -G Ninja -S "$source/tests/installed" -B "$work/host" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_CXX_FLAGS="$*" >"$work/configure.log" || { cat "$work/configure.log"; exit 1; }
cmake --build "$work/host" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
ctest --test-dir "$work/host" --output-on-failure >"$work/run.log" || { cat "$work/run.log"; exit 1; }

# Headers cite only what is there.
for document in $(grep -rhoE 'docs/[a-z_/]+[.]md' "$prefix/include/xem"); do
  test -s "$prefix/share/doc/xemmaterialutil/${document#docs/}" || { echo "$document is not installed" >&2; exit 1; }
done

# What belongs to the tool is found from where the tool is now.
if [ -x "$prefix/bin/xemfit" ]; then
  "$prefix/bin/xemfit" data treloar1944_uniaxial --to - |
    "$prefix/bin/xemfit" hyper fit --model polynomial:1 --uniaxial - --quiet
  test -s "$prefix/share/man/man1/xemfit-hyper-fit.1"
  test -s "$prefix/share/xemfit/xemfit.schema.json"
fi

PKG_CONFIG_PATH=$libdir/pkgconfig
export PKG_CONFIG_PATH
# shellcheck disable=SC2046
(cd "$source/tests/installed" &&
  "$cxx" -std=c++14 "$@" host.cpp arrays.cpp texts.cpp $(pkg-config --cflags --libs xemmaterialutil) -o "$work/host_pc")
LD_LIBRARY_PATH=$libdir "$work/host_pc"
