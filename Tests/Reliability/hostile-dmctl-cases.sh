#!/usr/bin/env bash
# Hostile cases through the built dmctl on fresh data directories: processes sharing a data
# directory, an outside write lock, a full tmpfs, a read-only mount, refused settings files,
# 100k-deep input and malformed updates. Prints the number of dmctl runs, how many ended by
# a signal, how many exit statuses claimed a write that was not stored, and how many stored
# records or keys went missing. Needs root for the mounts (those cases are skipped without).
# Usage: Tests/Reliability/hostile-dmctl-cases.sh build/dmctl
set -u
DMCTL=$(realpath "${1:-build/dmctl}")
WORK=$(mktemp -d)
trap 'umount -l "$WORK"/full "$WORK"/ro 2>/dev/null; rm -rf "$WORK"' EXIT
runs=0 crashes=0 lies=0 lost=0 skipped=0

# dm DATA EXPECT ARGS...: one run; EXPECT is the exit status a truthful dmctl gives here
# ("any" when several are right). A signal is a crash; 0 where a write cannot have happened
# is a lie.
dm() {
  local data=$1 expect=$2; shift 2
  "$DMCTL" --data-dir "$data" "$@" >"$WORK/out" 2>"$WORK/err"
  local status=$?
  runs=$((runs + 1))
  if [ $status -ge 128 ]; then crashes=$((crashes + 1)); echo "CRASH ($status): $*" >&2; fi
  if [ "$expect" != any ] && [ $status -ne "$expect" ]; then
    if [ $status -eq 0 ]; then lies=$((lies + 1)); fi
    echo "status $status, expected $expect: $*" >&2; sed 's/^/  /' "$WORK/err" | head -3 >&2
  fi
  return 0
}
users() { "$DMCTL" --data-dir "$1" store query UserEntity 2>/dev/null | grep -c '"_entity"'; }
user_file() { printf '{"id": %d, "first_name": "user %d"}' "$1" "$1" >"$WORK/u$1.json"; }
missing() { local want=$1 got=$2; [ "$got" -lt "$want" ] && lost=$((lost + want - got)); return 0; }

# 1. 40 map --save writers beside 40 store query readers.
D=$WORK/shared; for i in $(seq 1 40); do user_file "$i"; done
# reap PID...: counts the runs started in the background, their crashes and failures.
reap() {
  for pid in "$@"; do
    wait "$pid"; local s=$?; runs=$((runs + 1))
    [ $s -ge 128 ] && crashes=$((crashes + 1)); [ $s -ne 0 ] && echo "concurrent run exited $s" >&2
  done
  return 0
}
pids=()
for i in $(seq 1 40); do
  "$DMCTL" --data-dir "$D" map UserEntity "$WORK/u$i.json" --save >/dev/null 2>&1 & pids+=($!)
  "$DMCTL" --data-dir "$D" store query UserEntity >/dev/null 2>&1 & pids+=($!)
done
reap "${pids[@]}"
missing 40 "$(users "$D")"

# 2. Another process holds the write lock for 2 s while every command runs.
D=$WORK/locked; dm "$D" 0 map UserEntity "$WORK/u1.json" --save
sqlite3 "$D/Documents/Korvalo.sqlite" "BEGIN IMMEDIATE;" ".shell sleep 2" "COMMIT;" & holder=$!
dm "$D" 0 store info; dm "$D" 0 store query UserEntity; dm "$D" 0 map UserEntity "$WORK/u2.json" --save
dm "$D" 0 handbook status; dm "$D" 0 settings set a 1
wait $holder; missing 2 "$(users "$D")"

# 3. A full 3 MB tmpfs.
if mkdir -p "$WORK/full" && mount -t tmpfs -o size=3m tmpfs "$WORK/full" 2>/dev/null; then
  D=$WORK/full/data; dm "$D" 0 map UserEntity "$WORK/u1.json" --save; dm "$D" 0 handbook status
  dm "$D" 0 settings set kept 1
  dd if=/dev/zero of="$WORK/full/filler" bs=64k 2>/dev/null
  big=$WORK/big.json; python3 -c "import json;print(json.dumps([{'id':i,'first_name':'x'*4000} for i in range(100,600)]))" >"$big"
  # Reads may fail too (SQLite cannot make its shared-memory file), but only with a reason.
  dm "$D" 3 map UserEntity "$big" --save; dm "$D" any store info; dm "$D" any handbook status
  dm "$D" 3 settings set lost 2; dm "$D" any handbook apply-update "$big"
  rm -f "$WORK/full/filler"; missing 1 "$(users "$D")"
  "$DMCTL" --data-dir "$D" settings get kept >/dev/null 2>&1 || lost=$((lost + 1))
else skipped=$((skipped + 1)); echo "skipped: cannot mount a tmpfs" >&2; fi

# 4. A read-only mount of a data directory with a store in it.
D=$WORK/rosrc; dm "$D" 0 map UserEntity "$WORK/u1.json" --save; dm "$D" 0 handbook status
if mkdir -p "$WORK/ro" && mount --bind "$D" "$WORK/ro" 2>/dev/null &&
   mount -o remount,ro,bind "$WORK/ro" 2>/dev/null; then
  dm "$WORK/ro" any store info; dm "$WORK/ro" 3 map UserEntity "$WORK/u2.json" --save
  dm "$WORK/ro" any handbook status; dm "$WORK/ro" 3 settings set a 1
  umount -l "$WORK/ro"; missing 1 "$(users "$D")"
else skipped=$((skipped + 1)); echo "skipped: cannot make a read-only bind mount" >&2; fi

# 5. Stores that can only run in memory: directories where the files should be.
D=$WORK/blocked; mkdir -p "$D/Documents/Korvalo.sqlite/x" "$D/ApplicationSupport/sqlData/Handbook.sqlite/x"
printf '{"status":"changed","version":1,"post_articles":[{"id":1,"title":"a"}]}' >"$WORK/upd.json"
dm "$D" 3 map UserEntity "$WORK/u1.json" --save; dm "$D" 3 handbook apply-update "$WORK/upd.json"
dm "$D" 1 store info; dm "$D" 1 handbook status

# 6. Refused settings files, then 10 parallel settings set calls.
for bad in '{"format": 2, "values": {}}' \
           "{\"format\": 1, \"values\": {\"a\": {\"kind\": \"list\", \"value\": $(python3 -c "print('['*600+']'*600)")}}}" \
           '{"format": 1, "values": {"a": {"kind": "real", "value": 1e400}}}' \
           $'{"format": 1, "values": {"a": {"kind": "text", "value": "\xff"}}}'; do
  D=$WORK/settings$runs; mkdir -p "$D/ApplicationSupport"; printf '%s' "$bad" >"$D/ApplicationSupport/Settings.json"
  dm "$D" 0 settings set new 1
  cmp -s <(printf '%s' "$bad") "$D/ApplicationSupport/Settings.json.refused" || lost=$((lost + 1))
done
D=$WORK/parallel
pids=()
for i in $(seq 1 10); do "$DMCTL" --data-dir "$D" settings set "k$i" "$i" >/dev/null 2>&1 & pids+=($!); done
reap "${pids[@]}"
kept=$("$DMCTL" --data-dir "$D" settings | grep -c '"k[0-9]*"'); missing 10 "$kept"

# 7. 100k-deep values and malformed updates.
D=$WORK/deep; deep=$(python3 -c "print('['*100000+']'*100000)"); deepo=$(python3 -c "print('{\"a\":'*100000+'1'+'}'*100000)")
printf '{"status":"ok","version":2,"post_exercises":[{"id":1,"execution_order":%s}]}' "$deep" >"$WORK/d1.json"
printf '{"status":"ok","version":3,"post_exercises":[{"id":2,"video_instruction":%s}]}' "$deepo" >"$WORK/d2.json"
printf '{"name":%s}' "$deep" >"$WORK/d3.json"; printf '[1,2,3]' >"$WORK/list.json"
dm "$D" any handbook apply-update "$WORK/d1.json"; dm "$D" any handbook apply-update "$WORK/d2.json"
dm "$D" 1 serialize ProfileRequest "$WORK/d3.json"; dm "$D" 1 handbook apply-update "$WORK/list.json"
printf '{"status":"ok","version":"2.5","post_articles":[{"id":7,"title":"a\\u0000b","description":"after"}]}' >"$WORK/nul.json"
dm "$D" 0 handbook apply-update "$WORK/nul.json"; dm "$D" 0 handbook apply-update "$WORK/nul.json"
dm "$D" 0 handbook post 7; grep -q photoURL "$WORK/out" || lost=$((lost + 1))

echo "dmctl runs: $runs, crashes: $crashes, exit 0 without the write: $lies," \
     "records or keys lost: $lost, skipped groups: $skipped"
[ $crashes -eq 0 ] && [ $lies -eq 0 ] && [ $lost -eq 0 ]
