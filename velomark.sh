#!/usr/bin/env bash
# Set-up and everyday commands for Velomark.
#   ./velomark.sh play   install what is missing, build, start the game on its bundled data (without a
#                        display, a race of computer drivers in the terminal)
#   ./velomark.sh test   install what is missing, build, run every test (plain and sanitizer builds)
set -euo pipefail
cd "$(dirname "$0")"

PACKAGES=(build-essential cmake ninja-build pkg-config libgtest-dev libbenchmark-dev
          nlohmann-json3-dev libgif-dev qt6-base-dev qt6-svg-dev qt6-charts-dev)
# The readers the report tests open the box score in: LibreOffice for the rich text (to PDF, then
# pdftotext), Chromium for the page. Only the test command needs them.
READERS=(libreoffice-writer-nogui poppler-utils chromium)
JOBS=$(nproc 2>/dev/null || echo 2)

install_missing() {  # install_missing [more packages...]
  local missing=()
  for p in "${PACKAGES[@]}" "$@"; do
    dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}"
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

build() {  # build DIR [cmake options...]
  local dir=$1
  shift
  cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
  cmake --build "$dir" -j "$JOBS"
}

case "${1:-}" in
  play)
    install_missing
    build build -DCMAKE_BUILD_TYPE=RelWithDebInfo
    if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
      exec ./build/app/velomark --data data
    fi
    # Without a screen the windows cannot open: a race of computer drivers runs in the terminal.
    echo "No display found (DISPLAY and WAYLAND_DISPLAY are unset): the game's windows need one."
    echo "Running a race of twelve computer drivers on Tarnock instead, with the order at each lap."
    ./build/cli/velomark-cli play --track data/Tracks/Tarnock.trk --tables data/Default.rst \
      --cars data/Field40.crs --cars-racing 12 --laps 5 --leaderboard
    ;;
  test)
    install_missing "${READERS[@]}"
    build build -DCMAKE_BUILD_TYPE=RelWithDebInfo
    ctest --test-dir build --output-on-failure -j "$JOBS"
    build build-asan -DCMAKE_BUILD_TYPE=Debug -DVELOMARK_SANITIZE=ON
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
      ctest --test-dir build-asan --output-on-failure -j "$JOBS"
    ;;
  *)
    echo "usage: ./velomark.sh play | test" >&2
    exit 1
    ;;
esac
