#!/usr/bin/env bash
# Formats every source, or with --check reports the files that are not formatted and fails.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=(-i)
[ "${1:-}" = --check ] && mode=(--dry-run --Werror)
git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format "${mode[@]}"
