#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds a small program against
# it twice, through find_package(vqutil) and through pkg-config.
# Usage: check_consumer.sh BUILD_DIR CONSUMER_SOURCE WORK_DIR
set -euo pipefail
build=$1 source=$2 work=$3
rm -rf "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" > /dev/null

cmake -S "$source" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build "$work/cmake" > /dev/null
"$work/cmake/consumer"

pcdir=$(dirname "$(find "$prefix" -name vqutil.pc | head -n 1)")
flags=$(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs vqutil)
libdir=$(PKG_CONFIG_PATH=$pcdir pkg-config --variable=libdir vqutil)
# shellcheck disable=SC2086
c++ -std=c++17 -fPIC "$source/main.cpp" -o "$work/consumer-pc" $flags
LD_LIBRARY_PATH=$libdir "$work/consumer-pc"
