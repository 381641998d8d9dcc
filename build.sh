#!/usr/bin/env bash
# One entry point for every set-up step, so a fresh Debian 12 machine needs
# nothing but this script:
#   bash build.sh demo          build, then run `norvik demo` (pictures + report in ./norvik-demo)
#   bash build.sh test          build, then run every test
#   bash build.sh sanitize      every test again under AddressSanitizer + UBSan
#   bash build.sh tsan          the threaded tests under ThreadSanitizer
#   bash build.sh fuzz [SECS]   build everything with clang, run each libFuzzer target briefly
#   bash build.sh install-check install into a temporary prefix, build consumers against it
#   bash build.sh bench         build and run the benchmarks (slow; not part of CI)
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
jobs="${NK_JOBS:-$(nproc)}"

packages=(cmake ninja-build g++ clang pkg-config libgtest-dev libgmock-dev libbenchmark-dev
          libpng-dev liblcms2-dev libpugixml-dev libpixman-1-dev libbabl-dev libeigen3-dev
          libgsl-dev libimagequant-dev libclang-rt-14-dev icc-profiles-free libgs-common)

ensure_packages() {
  local missing=()
  for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  if [ "$(id -u)" -ne 0 ]; then
    echo "build.sh: missing Debian packages: ${missing[*]} (run as root to install them)" >&2
    exit 1
  fi
  echo "build.sh: installing ${missing[*]}"
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# configure DIR [cmake args...]
configure() {
  local dir="$1"; shift
  cmake -S "$here" -B "$dir" -G Ninja "$@" >/dev/null
}

build() { cmake --build "$1" -j "$jobs"; }

run_tests() {
  local dir="$1"; shift
  ctest --test-dir "$dir" --output-on-failure -j "$jobs" "$@"
}

mode="${1:-test}"
ensure_packages
case "$mode" in
  demo)
    configure "$here/build/release" -DCMAKE_BUILD_TYPE=Release -DNK_BUILD_TESTS=OFF -DNK_BUILD_BENCH=OFF
    build "$here/build/release"
    "$here/build/release/tools/norvik/norvik" demo "${@:2}"
    ;;
  test)
    configure "$here/build/release" -DCMAKE_BUILD_TYPE=Release -DNK_BUILD_TESTS=ON
    build "$here/build/release"
    run_tests "$here/build/release"
    ;;
  sanitize)
    export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:strict_string_checks=1"
    export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
    configure "$here/build/asan" -DCMAKE_BUILD_TYPE=Debug -DNK_SANITIZE=address,undefined \
      -DNK_BUILD_BENCH=OFF -DNK_BUILD_TOOLS=OFF
    build "$here/build/asan"
    run_tests "$here/build/asan"
    ;;
  tsan)
    export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
    configure "$here/build/tsan" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNK_SANITIZE=thread \
      -DNK_BUILD_BENCH=OFF -DNK_BUILD_TOOLS=OFF
    build "$here/build/tsan"
    run_tests "$here/build/tsan" -R Threads
    ;;
  fuzz)
    secs="${2:-20}"
    configure "$here/build/fuzz" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
      -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link \
      -DNK_SANITIZE=address,undefined -DNK_BUILD_FUZZ=ON -DNK_BUILD_TESTS=ON -DNK_BUILD_TOOLS=ON -DNK_BUILD_BENCH=ON
    # This pass is also the clang build of everything (tests, tools, benchmarks),
    # so both compilers keep the warnings-as-errors build clean.
    build "$here/build/fuzz"
    shopt -s nullglob
    for src in "$here"/fuzz/*.cpp; do
      name="$(basename "$src" .cpp)"
      corpus="$(mktemp -d)"
      [ -d "$here/fuzz/corpus/$name" ] && cp -r "$here/fuzz/corpus/$name/." "$corpus/"
      echo "fuzzing $name for ${secs}s"
      "$here/build/fuzz/fuzz/$name" -max_total_time="$secs" -print_final_stats=0 "$corpus" 2>"$corpus.log" \
        || { tail -n 60 "$corpus.log"; exit 1; }
      rm -rf "$corpus" "$corpus.log"
    done
    ;;
  install-check)
    prefix="$(mktemp -d)"
    configure "$here/build/install" -DCMAKE_BUILD_TYPE=Release -DNK_BUILD_TESTS=OFF -DNK_BUILD_BENCH=OFF \
      -DCMAKE_INSTALL_PREFIX="$prefix"
    build "$here/build/install"
    cmake --install "$here/build/install" >/dev/null
    # Through CMake's package.
    cmake -S "$here/tests/install" -B "$prefix/consumer-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
    cmake --build "$prefix/consumer-cmake" >/dev/null
    LD_LIBRARY_PATH="$prefix/lib" "$prefix/consumer-cmake/consumer"
    # Through pkg-config.
    PKG_CONFIG_PATH="$prefix/lib/pkgconfig" g++ -o "$prefix/consumer-pc" "$here/tests/install/consumer.cpp" \
      $(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs norvik-kernel)
    LD_LIBRARY_PATH="$prefix/lib" "$prefix/consumer-pc"
    rm -rf "$prefix"
    echo "install check passed (CMake package and pkg-config)"
    ;;
  bench)
    configure "$here/build/release" -DCMAKE_BUILD_TYPE=Release
    build "$here/build/release"
    shopt -s nullglob
    for b in "$here"/build/release/bench/*; do
      [ -x "$b" ] && [ -f "$b" ] && "$b" "${@:2}"
    done
    ;;
  *)
    echo "usage: bash build.sh demo|test|sanitize|tsan|fuzz|install-check|bench" >&2
    exit 2
    ;;
esac
