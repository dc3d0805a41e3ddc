# SPDX-License-Identifier: Apache-2.0
# Shared by the bench scripts; sourced, not run.

# The best of $runs wall times of a command, in microseconds; its output
# goes to /dev/null.
best_us() {
  local best=0 s e t
  for _ in $(seq "$runs"); do
    s=$(date +%s%N)
    "$@" >/dev/null 2>&1
    e=$(date +%s%N)
    t=$(( (e - s) / 1000 ))
    if [ "$best" -eq 0 ] || [ "$t" -lt "$best" ]; then best=$t; fi
  done
  echo "$best"
}
