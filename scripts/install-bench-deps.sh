#!/usr/bin/env bash
# Installs what the benchmarks can use beyond Google Benchmark: Boost's headers, for the
# comparison in bench_vor (Debian and Ubuntu). The library itself needs none of it.
set -euo pipefail
packages=(libboost-dev)
if [ "$(id -u)" -eq 0 ]; then
    sudo=()
else
    sudo=(sudo)
fi
if ! "${sudo[@]}" apt-get install -y "${packages[@]}"; then
    "${sudo[@]}" apt-get update
    "${sudo[@]}" apt-get install -y "${packages[@]}"
fi
