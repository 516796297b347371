#!/usr/bin/env bash
# Builds the seed corpora from the golden scripts: SCRIPTS_DIR OUT_DIR VELMARLUA
#   OUT_DIR/seeds/compile and OUT_DIR/seeds/run   every script as it is
#   OUT_DIR/seeds/container                       the container of every script that compiles, behind a
#                                                 selector byte: odd (raw bytes) or even (header dropped, the
#                                                 harness puts it back)
set -euo pipefail
scripts=$1
out=$2
velmarlua=$3
rm -rf "$out/seeds"
mkdir -p "$out/seeds/compile" "$out/seeds/run" "$out/seeds/container"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
count=0
while IFS= read -r -d '' script; do
    name=$(echo "${script#"$scripts"/}" | tr '/' '_')
    cp "$script" "$out/seeds/compile/$name"
    cp "$script" "$out/seeds/run/$name"
    if (cd "$work" && "$velmarlua" -c "$script" container.vlbc >/dev/null 2>&1); then
        { printf '\001'; cat "$work/container.vlbc"; } > "$out/seeds/container/raw_$name"
        { printf '\000'; tail -c +9 "$work/container.vlbc"; } > "$out/seeds/container/headed_$name"
    fi
    count=$((count + 1))
done < <(find "$scripts" -name '*.lua' -type f -print0 | sort -z)
[ "$count" -gt 0 ] || { echo "no golden scripts under $scripts"; exit 1; }
echo "seed corpora: $count scripts, $(ls "$out/seeds/container" | wc -l) containers"
