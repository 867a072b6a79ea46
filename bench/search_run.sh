#!/usr/bin/env bash
# Measures staff pages on databases of growing size: bench/search_run.sh [SECONDS] [PREFIX]. Each page shows the same
# rows, or as many, in all of them; what counts is how much more processor time it takes in the largest than in the
# smallest. PREFIX names the databases up to their size; without one they are SQLite files that go away again.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-1}
sizes='1000 30000 1000000'

cmake --preset bench >/dev/null
cmake --build build/bench --target bench_search
bench=build/bench/bench/bench_search

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=${2:-sqlite:$work/students-}
for size in $sizes; do
  $bench fill "$prefix$size" "$size"
  $bench run "$prefix$size" "$seconds" >"$work/$size.times"
done

printf '%-40s %10s %10s %10s %8s\n' 'CPU us/request; students:' $sizes 'growth'
# shellcheck disable=SC2086
paste $(printf "$work/%s.times " $sizes) | awk -F '\t' '{
  split($1, first, " "); split($2, second, " "); split($3, third, " ")
  name = $1; sub(/^[^ ]+ [^ ]+ /, "", name)
  printf "%-40s %10s %10s %10s %8.2f\n", name, first[1], second[1], third[1], third[1] / first[1]
}'
