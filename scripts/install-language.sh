#!/usr/bin/env bash
# Puts a language file beside the driver module.
#
#   scripts/install-language.sh [LANG] BUILD_DIR
#
# LANG is the code of one of the files in lang/ (kmpforge_lang_LANG.xml),
# en_us when left out. The file is copied into BUILD_DIR, beside snk_drv.so,
# as forge_language_LANG.xml: the driver takes the first entry of its folder
# whose name is longer than 20 characters and starts with "forge_language_".
# Any other forge_language_* file there is removed first, so the chosen one
# is the only candidate whatever the listing order.
set -euo pipefail

usage() {
  echo "usage: $0 [LANG] BUILD_DIR" >&2
  exit 2
}

case $# in
  1) lang=en_us; dir=$1 ;;
  2) lang=$1; dir=$2 ;;
  *) usage ;;
esac

source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source="$source_dir/lang/kmpforge_lang_$lang.xml"
if [[ ! -f $source ]]; then
  echo "$0: no language file for \"$lang\"; there are:" >&2
  for file in "$source_dir"/lang/kmpforge_lang_*.xml; do
    name=${file##*/kmpforge_lang_}
    echo "  ${name%.xml}" >&2
  done
  exit 1
fi
if [[ ! -d $dir ]]; then
  echo "$0: $dir is not a folder" >&2
  exit 1
fi

target_name="forge_language_$lang.xml"
if (( ${#target_name} <= 20 )); then
  echo "$0: $target_name is too short for the driver to find it" >&2
  exit 1
fi

shopt -s nullglob
for old in "$dir"/forge_language_*; do
  [[ ${old##*/} == "$target_name" ]] || rm -f -- "$old"
done
cp -- "$source" "$dir/$target_name.tmp"
mv -f -- "$dir/$target_name.tmp" "$dir/$target_name"
