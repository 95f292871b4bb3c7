#!/usr/bin/env bash
# check_install.sh BUILD_DIR CXX CC: the installed tree serves outside projects.
set -euo pipefail
build=$1 cxx=$2 cc=$3
here=$(cd "$(dirname "$0")" && pwd)
temporary=$(mktemp -d)
trap 'rm -rf "$temporary"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }
prints() { [ "$("$temporary/$1" 2>/dev/null)" = "$2" ] || fail "$1 prints something else"; }

# What the build was made with (sanitizers, optimisation) the outside projects need too.
cached() { sed -n "s/^$1:[^=]*=//p" "$build/CMakeCache.txt"; }
flags=$(cached CMAKE_CXX_FLAGS)
sanitize=$(cached VANTREL_SANITIZE)
[ -z "$sanitize" ] || flags="$flags -fsanitize=$sanitize"

cmake --install "$build" --prefix "$temporary/prefix" > "$temporary/install.log"
for file in VantrelConfigVersion.cmake LICENSE README.md CHANGELOG.md; do
  [ -n "$(find "$temporary/prefix" -name $file)" ] || fail "no $file"
done

# Every header that is installed finds what it includes, and none is there for nobody.
(cd "$temporary/prefix/include" && find vantrel -name '*.h' -printf '#include "%p"\n') > "$temporary/all.cc"
"$cxx" -std=c++20 -M -I"$temporary/prefix/include" "$temporary/all.cc" > /dev/null || fail "a header is missing"
for header in $(cd "$temporary/prefix/include" && find vantrel -path '*/detail/*'); do
  grep -rqF "\"$header\"" "$temporary/prefix/include" || fail "$header is installed for nobody"
done

for project in each_by_itself c_only; do
  {
    cmake --no-warn-unused-cli -S "$here/$project" -B "$temporary/$project" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
      -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS="$flags" \
      -DCMAKE_PREFIX_PATH="$temporary/prefix" && cmake --build "$temporary/$project"
  } > "$temporary/$project.log" || { cat "$temporary/$project.log"; fail "$project does not build"; }
done

mkdir "$temporary/unknown"
echo 'cmake_minimum_required(VERSION 3.25)
project(unknown LANGUAGES C)
find_package(Vantrel REQUIRED COMPONENTS codec codecs)' > "$temporary/unknown/CMakeLists.txt"
! cmake -S "$temporary/unknown" -B "$temporary/unknown/build" -G Ninja -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_PREFIX_PATH="$temporary/prefix" > "$temporary/unknown.log" 2>&1 || fail "an unknown component is found"
tr -s '\n ' ' ' < "$temporary/unknown.log" | grep -q "no component codecs" || fail "an unknown component is not named"

prints each_by_itself/codec_only/codec_only 0a0bff
prints each_by_itself/everything/everything "01:05 a%20b 0 2"
prints each_by_itself/checksum_only/checksum_only 31c3
prints c_only/c_only "31c3 1"

# Who uses the hex operations or a checksum alone gets no library but those of C and C++, and little code.
if [ -z "$sanitize" ] && [ "$(cached BUILD_SHARED_LIBS)" != ON ]; then
  for project in codec_only checksum_only; do
    others=$(ldd "$temporary/each_by_itself/$project/$project" |
      grep -v -E 'linux-vdso|ld-linux|libstdc\+\+|libgcc_s|libc\.so|libm\.so' || true)
    [ -z "$others" ] || fail "$project needs $others"
  done
  strip -o "$temporary/stripped" "$temporary/each_by_itself/checksum_only/checksum_only"
  size=$(stat -c %s "$temporary/stripped")
  [ "$size" -lt $((200 * 1024)) ] || fail "checksum_only takes $size bytes"
fi

pc=$(dirname "$(find "$temporary/prefix" -name vantrel-codec.pc)")
export PKG_CONFIG_PATH=$pc LD_LIBRARY_PATH=$pc/..
read -r -a extra <<< "$flags"
# by_pkg_config PACKAGE OUTPUT COMPILER_AND_ARGUMENTS...: a program from the flags that the package gives.
by_pkg_config() {
  local package=$1 output=$2 given=() arguments
  shift 2
  arguments=$(pkg-config --cflags --libs "$package") || fail "pkg-config does not resolve $package"
  read -r -a given <<< "$arguments"
  "$@" "${extra[@]}" -o "$output" "${given[@]}" || fail "$package does not link"
}
# What a program links beside the library is linked as it said, and of what the library needs, only what the program uses.
by_pkg_config vantrel-codec "$temporary/checksum" "$cxx" -std=c++20 "$here/checksum_only/main.cc" \
  -Wl,--no-as-needed -lz
prints checksum 31c3
if [ -z "$sanitize" ]; then
  needed=$(readelf -d "$temporary/checksum" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p')
  grep -q libz <<< "$needed" || fail "a library of the user's own is dropped"
  ! grep -qE "icu|crypto" <<< "$needed" || fail "a library is needed that nothing uses"
fi
! grep -E 'icu|zlib|-lz|crypto' "$pc/vantrel-checksums.pc" "$pc/vantrel-buffers.pc" "$pc/vantrel-base.pc" ||
  fail "a small family asks for a large library"

# Everything in a family's library resolves from what its package says, for a C program as well.
echo 'int main(void) { return 0; }' > "$temporary/empty.c"
for package in "$pc"/*.pc; do
  package=$(basename "$package" .pc)
  family=$pc/../libvantrel_${package#vantrel-}.a
  whole=()
  if [ -e "$family" ]; then whole=("-Wl,-S,--whole-archive,$family,--no-whole-archive"); fi
  by_pkg_config "$package" "$temporary/empty" "$cc" "$temporary/empty.c" "${whole[@]}"
  "$temporary/empty" || fail "a C program with $package does not start"
done
by_pkg_config vantrel "$temporary/c" "$cc" "$here/c_only/main.c"
prints c "31c3 1"
pkg-config --exact-version=0.1.0 vantrel || fail "pkg-config does not know vantrel"
echo "installed tree serves all projects"
