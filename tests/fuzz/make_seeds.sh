#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# make_seeds.sh GOLDEN CORPUS OUT: makes the first inputs of the fuzz targets from the golden cases, and
# from the real configurations in CORPUS/nginx and CORPUS/apache where they are at hand.
set -eu

golden=$1
corpus=$2
out=$3
separator=$(printf '\036')
unit=$(printf '\037')
rm -rf "$out"
for target in request edits language values values_file apply document_nginx document_apache; do
  mkdir -p "$out/$target"
done

dialect_of() {
  case $(basename "$1") in apache) echo A ;; *) echo N ;; esac
}

# request_seed DIALECT CONFIG TEMPLATE
request_seed() {
  printf '%s%s' "$1" "$separator"
  cat "$2"
  printf '%s' "$separator"
  cat "$3"
  printf '%s%s%s' '{% import FILE %}' "$separator" "gzip on;$separator"
  for value in name root ip tls certificate key protocols; do
    printf '%s' "$value${separator}a.example${separator}on$separator"
  done
}

# apply_seed DIALECT CONFIG TEMPLATE
apply_seed() {
  printf '%s%s' "$1" "$separator"
  cat "$2"
  printf '%s' "$separator"
  cat "$3"
  for value in name root ip tls certificate key protocols; do
    printf '%s' "$separator$value${separator}a.example${separator}b.example"
  done
}

# edits_seed DIALECT CONFIG
edits_seed() {
  printf '%s%s' "$1" "$separator"
  cat "$2"
  number=0
  for operation in append remove change empty remove_part; do
    # A line of the configuration as the new line, the old line and the key.
    line=$(sed -n "$((number + 2))p" "$2" | tr -d '\000')
    printf '%s' "$separator$operation$unit$number$unit$line$unit$line$unit$line"
    number=$((number + 1))
  done
}

for case in "$golden"/*/*/; do
  name=$(basename "$(dirname "$case")")-$(basename "$case")
  dialect=$(dialect_of "$(dirname "$case")")
  request_seed "$dialect" "$case/config" "$case/template" >"$out/request/$name"
  edits_seed "$dialect" "$case/config" >"$out/edits/$name"
  apply_seed "$dialect" "$case/config" "$case/template" >"$out/apply/$name"
  apply_seed "$(echo "$dialect" | tr AN an)" "$case/config" "$case/template" >"$out/apply/quoted-$name"
  cp "$case/values.json" "$out/values_file/$name"
  cp "$case/config" "$out/document_$(basename "$(dirname "$case")")/$name"
done

# Large files make a fuzzer slow and teach it little that is new.
for folder in "$corpus/nginx" "$corpus/apache"; do
  [ -d "$folder" ] || continue
  dialect=$(dialect_of "$folder")
  find "$folder" -type f -size -17 | while read -r config; do
    name=corpus-$(basename "$config")
    request_seed "$dialect" "$config" "$config" >"$out/request/$name"
    edits_seed "$dialect" "$config" >"$out/edits/$name"
    cp "$config" "$out/document_$(basename "$folder")/$name"
  done
done

index=0
for text in 'if $a == 1 and $b != "" or c' 'elif $a > b' 'root {% $a %}; [% $b %]' '%} {% $a' '{% x %}'; do
  printf '%s' "$text${separator}a${separator}1${separator}b${separator}[% \$a %]" \
    >"$out/language/$index"
  index=$((index + 1))
done
for text in 'listen [::1]:80 10.0.0.1:443 ssl;' 'listen unix:/run/a;' 'ServerAlias a b' '  x  '; do
  printf '%s' "$text${separator}www.example ${separator}	${separator}x" >"$out/values/$index"
  index=$((index + 1))
done
