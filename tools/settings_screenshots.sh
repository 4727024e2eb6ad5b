#!/usr/bin/env bash
# Pictures of the settings window in its 15 languages into a folder, without a display: tools/settings_screenshots.sh BUILD_DIR [FOLDER] [RECORDING]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:?build folder}
folder=${2:-docs/settings}
recording=${3:-demo/rose.zip}
runtime=$(mktemp -d)
trap 'rm -rf "$runtime"' EXIT
mkdir -p "$folder"
QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR=$runtime "$build/tests/settings_screenshots" "$recording" "$folder"
