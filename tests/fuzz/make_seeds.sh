#!/bin/sh
# make_seeds.sh GOLDEN OUT: makes the first inputs of the fuzz targets from the golden cases.
set -eu

golden=$1
out=$2
separator=$(printf '\036')
unit=$(printf '\037')
rm -rf "$out"
for target in request edits language values values_file; do mkdir -p "$out/$target"; done

for case in "$golden"/*/*/; do
  name=$(basename "$(dirname "$case")")-$(basename "$case")
  case $name in apache-*) dialect=A ;; *) dialect=N ;; esac
  {
    printf '%s%s' "$dialect" "$separator"
    cat "$case/config"
    printf '%s' "$separator"
    cat "$case/template"
    printf '%s%s%s' '{% import FILE %}' "$separator" "gzip on;$separator"
    for value in name root ip tls certificate key protocols; do
      printf '%s' "$value${separator}a.example${separator}on$separator"
    done
  } >"$out/request/$name"
  {
    printf '%s%s' "$dialect" "$separator"
    cat "$case/config"
    number=0
    for operation in append remove change empty remove_part; do
      # A line of the case as the new line, the old line and the key.
      line=$(sed -n "$((number + 2))p" "$case/config")
      printf '%s' "$separator$operation$unit$number$unit$line$unit$line$unit$line"
      number=$((number + 1))
    done
  } >"$out/edits/$name"
  cp "$case/values.json" "$out/values_file/$name"
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
