#!/usr/bin/env bash
# run_bench.sh BUILD_DIR [provider|replica|mount ...]: the provider against curl, openssl and a
# local folder on the same data in the same run, as ratios of wall-clock medians; all groups of
# figures unless some are named. Prints a table; writes build/bench.json.
set -euo pipefail
export LC_ALL=C

build=${1:?usage: run_bench.sh BUILD_DIR}
bin=$(cd "$build/bin" && pwd)
root=$(cd "$(dirname "$0")/.." && pwd)
runs=${BENCH_RUNS:-7}  # medians of 7 hold steady on a shared machine; never fewer than 5
[ "$runs" -ge 5 ] || runs=5
small_requests=1000
work=$(mktemp -d "${TMPDIR:-/tmp}/pralodrive-bench.XXXXXX")

# Nothing of the user's is read or written: every home the provider looks at is in $work.
mkdir -p "$work"/{home,data,config,container,tmp}
export HOME=$work/home XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config
export PRALODRIVE_CONTAINER=$work/container TMPDIR=$work/tmp

service_pid=
cleanup() {
  [ -d "$work/mnt" ] && { fusermount3 -u -z "$work/mnt" 2>/dev/null || true; }
  if [ -n "$service_pid" ]; then
    kill "$service_pid" 2>/dev/null || true
    wait "$service_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

# --- the service ------------------------------------------------------------------------------

declare -A node
start_service() {
  coproc SERVICE { exec "$bin/bench-service" 2>"$work/service.log"; }
  service_pid=$SERVICE_PID
  local key value
  while read -r key value <&"${SERVICE[0]}"; do
    [ "$key" = ready ] && break
    node[$key]=$value
  done
  if [ -z "${node[service]:-}" ]; then
    cat "$work/service.log" >&2
    echo "run_bench.sh: the bench service did not start" >&2
    exit 1
  fi
  export PRALODRIVE_API_BASE=${node[service]} PRALODRIVE_COMPANION=${node[companion]}
  auth="Authorization: Bearer ${node[token]}"
}

node_url() { echo "${node[service]}/storage/nodes/$1"; }

# --- timing -----------------------------------------------------------------------------------

# Runs the command and sets `elapsed` to its wall-clock time in microseconds.
timed() {
  local start=${EPOCHREALTIME/./}
  "$@"
  local end=${EPOCHREALTIME/./}
  elapsed=$((end - start))
}

median() {
  printf '%s\n' "$@" | sort -n | awk '{ v[NR] = $1 }
    END { m = (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2; print m }'
}

# compare PROVIDER REFERENCE [AFTER]: one warm-up each, then alternating runs; AFTER tidies up
# after every run, untimed. Sets provider_s and reference_s to the medians in seconds.
compare() {
  local provider=$1 reference=$2 after=${3:-true} p=() r=() i
  "$provider"
  "$after"
  "$reference"
  "$after"
  for ((i = 0; i < runs; i++)); do
    timed "$provider"
    p+=("$elapsed")
    "$after"
    timed "$reference"
    r+=("$elapsed")
    "$after"
  done
  provider_s=$(awk -v us="$(median "${p[@]}")" 'BEGIN { printf "%.4f", us / 1e6 }')
  reference_s=$(awk -v us="$(median "${r[@]}")" 'BEGIN { printf "%.4f", us / 1e6 }')
}

# --- results ----------------------------------------------------------------------------------

rows=()
# record FIGURE PROVIDER REFERENCE|null TARGET UNIT
record() {
  local figure=$1 provider=$2 reference=$3 target=$4 unit=$5
  rows+=("$(awk -v f="$figure" -v p="$provider" -v r="$reference" -v t="$target" -v u="$unit" '
    BEGIN {
      ratio = (r == "null") ? p : p / r
      printf "%s\t%s\t%s\t%.4f\t%s\t%s\t%s\n", f, p, r, ratio, t, (ratio <= t) ? "true" : "false", u
    }')")
  echo "  ${rows[-1]//$'\t'/ | }" >&2
}

print_table() {
  printf '%s\n' "${rows[@]}" | awk -F '\t' '
    function amount(v, u) { return (v == "null") ? "-" : sprintf("%.3f %s", v, u) }
    BEGIN {
      printf "%-40s %14s %14s %9s %9s  %s\n", "figure", "provider", "reference", "ratio", "target", "met"
    }
    {
      mark = ($3 == "null") ? "" : "x"
      printf "%-40s %14s %14s %8.2f%1s %2s%5.1f%1s  %s\n", $1, amount($2, $7), amount($3, $7),
        $4, mark, "<=", $5, mark, ($6 == "true") ? "yes" : "NO"
    }'
}

write_json() {
  mkdir -p "$root/build"
  printf '%s\n' "${rows[@]}" | awk -F '\t' '
    BEGIN { printf "{\"figures\": [" }
    {
      printf "%s\n  {\"figure\": \"%s\", \"provider\": %s, \"reference\": %s, \"ratio\": %s, \"target\": %s, \"met\": %s}",
        (NR > 1) ? "," : "", $1, $2, $3, $4, $5, $6
    }
    END { printf "\n]}\n" }' >"$root/build/bench.json"
}

# --- data -------------------------------------------------------------------------------------

make_files() {
  head -c 1G /dev/urandom >"$work/1g.bin"
  head -c 512M "$work/1g.bin" >"$work/512m.bin"
  local line i
  line="item node:${node[small]}"
  for ((i = 0; i < small_requests; i++)); do echo "$line"; done >"$work/items.txt"
  {
    echo "header = \"$auth\""
    echo "silent"
    for ((i = 0; i < small_requests; i++)); do
      echo "url = \"$(node_url "${node[small]}")\""
      echo 'output = "/dev/null"'
    done
  } >"$work/gets.curl"
}

# --- figures ----------------------------------------------------------------------------------

provider_list() { "$bin/pralodrive" list "node:${node[large]}" >"$work/list.out"; }
reference_list() {
  curl -sf -H "$auth" "$(node_url "${node[large]}")/children" |
    "$bin/bench-decode-children" >"$work/decode.out"
}
check_list() {
  [ "$(tail -n 1 "$work/list.out")" = "100000 item(s)" ] && [ "$(cat "$work/decode.out")" = 100000 ]
}

provider_items() { "$bin/pralodrive" shell <"$work/items.txt" >"$work/items.out"; }
reference_items() { curl -f -K "$work/gets.curl"; }
check_items() {
  [ "$(grep -c '"itemIdentifier":"node:' "$work/items.out")" -eq "$small_requests" ] &&
    ! grep -q '"error"' "$work/items.out"
}

provider_digest() { "$bin/bench-digest" "$work/1g.bin" >"$work/digest.provider"; }
reference_digest() { openssl dgst -sha256 -r "$work/1g.bin" >"$work/digest.reference"; }
check_digest() {
  [ "$(cut -c1-64 "$work/digest.provider")" = "$(cut -c1-64 "$work/digest.reference")" ]
}

# The reference's upload into the content node is also what the fetches download.
provider_upload() {
  "$bin/pralodrive" --json create "node:${node[uploads]}" Upload.bin --file "$work/512m.bin" \
    >"$work/upload.out"
}
reference_upload() {
  curl -sf -H "$auth" -H "Expect:" -T "$work/512m.bin" "$(node_url "${node[content]}")/content" \
    -o "$work/upload.out"
}
# Empties the node the provider's last run created, so that the service's disk does not fill
# run after run.
discard_upload() {
  local id
  id=$(sed -n 's/.*"itemIdentifier":"node:\([^"]*\)".*/\1/p' "$work/upload.out")
  [ -z "$id" ] || curl -sf -H "$auth" -X PUT --data-binary '' "$(node_url "$id")/content" -o /dev/null
}
check_upload() { grep -q '"byteSize":536870912' "$work/upload.out"; }

provider_fetch() { "$bin/pralodrive" fetch "node:${node[content]}" >"$work/fetch.out"; }
reference_fetch() { curl -sf -H "$auth" -o "$work/curl.bin" "$(node_url "${node[content]}")/content"; }
discard_fetch() { rm -f "$work"/tmp/drive-* "$work/curl.bin"; }
check_fetch() {
  provider_fetch
  cmp -s "$work"/tmp/drive-*.bin "$work/512m.bin"
}

# Peak anonymous resident memory of fetching the sparse 4 GiB file, in MiB: the content must
# live in the file's own pages, which the kernel can write back, not in the process's memory.
# One run: it moves 4 GiB, and the figure does not depend on the machine's load.
fetch_memory() {
  local kib
  # The figure is the helper's last line, after whatever the fetch printed.
  kib=$("$bin/bench-peak-anonymous" "$bin/pralodrive" fetch "node:${node[huge]}" | tail -n 1)
  [ "$(stat -c %s "$work"/tmp/drive-*.bin)" -eq $((4 << 30)) ] || {
    echo "run_bench.sh: the 4 GiB fetch did not deliver 4 GiB" >&2
    exit 1
  }
  discard_fetch
  awk -v k="$kib" 'BEGIN { printf "%.1f", k / 1024 }'
}

# Peak resident set of the upload, in MiB: the median of as many runs as the timings.
upload_memory() {
  local kib=() i
  for ((i = 0; i < runs; i++)); do
    /usr/bin/time -f %M -o "$work/rss.txt" "$bin/pralodrive" --json create \
      "node:${node[uploads]}" Upload.bin --file "$work/512m.bin" >"$work/upload.out"
    kib+=("$(tail -n 1 "$work/rss.txt")")
    discard_upload
  done
  awk -v k="$(median "${kib[@]}")" 'BEGIN { printf "%.1f", k / 1024 }'
}

# The replica, in a fresh state and cache directory for every run.
fresh_replica() {
  rm -rf "$work/state" "$work/cache"
  export XDG_STATE_HOME=$work/state XDG_CACHE_HOME=$work/cache
}
replica_list() { "$bin/bench-replica" list Bench/Large >"$work/replica-list.out"; }
check_replica_list() { [ "$(head -n 1 "$work/replica-list.out")" = "100000 item(s)" ]; }
replica_memory() { awk '/^resident/ { print $2 }' "$work/replica-list.out"; }

replica_creates() { "$bin/bench-replica" create Bench/Uploads "$small_requests"; }
shell_creates() { "$bin/pralodrive" shell <"$work/creates.txt" >"$work/creates.out"; }
make_creates() {
  local i
  head -c 4096 /dev/urandom >"$work/4k.bin"
  for ((i = 0; i < small_requests; i++)); do
    echo "create node:${node[uploads]} \"Shell $i.bin\" --file $work/4k.bin"
  done >"$work/creates.txt"
}

# The mount, started in the background on a fresh replica; its process id in mount_pid.
mount_drive() {
  mkdir -p "$work/mnt"
  "$bin/pralodrive" mount "$work/mnt" --poll 3600 >/dev/null
  mount_pid=$(head -n 1 "$XDG_STATE_HOME/pralodrive/mount.lock")
}
unmount_drive() { "$bin/pralodrive" unmount "$work/mnt" >/dev/null; }
remount_fresh() {
  unmount_drive
  fresh_replica
  mount_drive
}
make_local_medium() {
  mkdir -p "$work/local-medium"
  (cd "$work/local-medium" && seq -f 'Report %06g.txt' 1 10000 | xargs -d '\n' touch)
}
mount_ls() { ls -l "$work/mnt/Bench/Medium" >"$work/ls.out"; }
local_ls() { ls -l "$work/local-medium" >"$work/ls-local.out"; }
provider_list_medium() { "$bin/pralodrive" list "node:${node[medium]}" >"$work/list-medium.out"; }
check_ls() { [ "$(grep -c 'Report' "$work/ls.out")" -eq 10000 ]; }
mount_ls_large() { ls -l "$work/mnt/Bench/Large" | grep -c Report >"$work/ls-large.out"; }
mount_cat() { cat "$work/mnt/Bench/Content.bin" >/dev/null; }
local_cat() { cat "$work/512m.bin" >/dev/null; }
check_cat() { cmp -s "$work/mnt/Bench/Content.bin" "$work/512m.bin"; }
# Drops the kernel's pages of the mounted file, not the content store's: the next read is a first
# read through the mount of a file already downloaded.
forget_mount_pages() { dd if="$work/mnt/Bench/Content.bin" iflag=nocache count=0 status=none; }
mount_memory() { awk '/^VmRSS/ { printf "%.1f", $2 / 1024 }' "/proc/$mount_pid/status"; }

# A file not yet downloaded: every run on a fresh replica that has listed the folder already.
fresh_listed_mount() {
  discard_fetch
  remount_fresh
  ls "$work/mnt/Bench" >/dev/null
}
mount_cold_cat() { cat "$work/mnt/Bench/Content.bin" >/dev/null; }
fetch_and_read() {
  provider_fetch
  cat "$work"/tmp/drive-*.bin >/dev/null
}

# Every run writes a name of its own: a deleted node stays in the service's trash, and its name
# with it, so a new file of that name would be renamed "… 2".
copies=0
uploads_sync() { "$bin/pralodrive" sync --wait 600 >/dev/null; }
mount_copy_in() {
  copies=$((copies + 1))
  cp "$work/512m.bin" "$work/mnt/Bench/Uploads/Copied $copies.bin"
  uploads_sync
}
# Emptied before it is deleted, as the curl side's upload replaces the contents of one node:
# otherwise each run would leave 512 MiB more in the service's trash for the next to work beside.
discard_copy_in() {
  local copy
  for copy in "$work/mnt/Bench/Uploads/"Copied*.bin; do
    [ ! -e "$copy" ] || : >"$copy"
  done
  uploads_sync
  rm -f "$work/mnt/Bench/Uploads/"Copied*.bin
  uploads_sync
}
check_copy_in() { cmp -s "$work/mnt/Bench/Uploads/Copied $copies.bin" "$work/512m.bin"; }

# A repository of 1,000 small files in ten folders; both clones go through git's transport.
make_repository() {
  local i
  git init -q "$work/repo"
  for ((i = 0; i < 1000; i++)); do
    mkdir -p "$work/repo/dir$((i % 10))"
    printf 'file %d\n%*s\n' "$i" $((i % 4000)) '' >"$work/repo/dir$((i % 10))/file$i.txt"
  done
  git -C "$work/repo" add -A
  git -C "$work/repo" -c user.name=Bench -c user.email=bench@localhost commit -qm files
}
clones=0
mount_clone() {
  clones=$((clones + 1))
  git clone -q --no-local "$work/repo" "$work/mnt/Bench/Uploads/clone $clones"
}
local_clone() { git clone -q --no-local "$work/repo" "$work/local-clone"; }
discard_clones() {
  rm -rf "$work/mnt/Bench/Uploads/"clone* "$work/local-clone"
  uploads_sync
}
check_clone() {
  mount_clone
  local clone="$work/mnt/Bench/Uploads/clone $clones"
  git -C "$clone" fsck --no-progress && [ -z "$(git -C "$clone" status --porcelain)" ]
}

mount_figures() {
  if [ ! -e /dev/fuse ]; then
    echo "No /dev/fuse: the mount's figures are left out" >&2
    return
  fi
  make_local_medium
  fresh_replica
  mount_drive
  compare mount_ls provider_list_medium remount_fresh
  check ls check_ls
  record "first ls -l of 10,000 entries in the mount" "$provider_s" "$reference_s" 1.5 s
  mount_ls
  compare mount_ls local_ls
  record "ls -l of 10,000 entries, warm" "$provider_s" "$reference_s" 3.0 s
  mount_ls_large
  [ "$(cat "$work/ls-large.out")" -eq 100000 ] || check ls-large false
  record "mount resident memory with 100,000 listed" "$(mount_memory)" null 96 MiB
  check cat check_cat
  compare mount_cat local_cat
  record "cat of a downloaded 512 MiB file" "$provider_s" "$reference_s" 2.5 s
  compare mount_cat local_cat forget_mount_pages
  record "first cat of a downloaded 512 MiB file" "$provider_s" "$reference_s" 12.0 s
  compare mount_cold_cat fetch_and_read fresh_listed_mount
  record "cat of a 512 MiB file not yet downloaded" "$provider_s" "$reference_s" 1.5 s
  discard_fetch
  check copy-in mount_copy_in
  check copy-in check_copy_in
  discard_copy_in
  compare mount_copy_in reference_upload discard_copy_in
  record "cp of 512 MiB in until sync --wait" "$provider_s" "$reference_s" 1.5 s
  make_repository
  check clone check_clone
  discard_clones
  compare mount_clone local_clone discard_clones
  record "git clone of 1,000 files into the mount" "$provider_s" "$reference_s" 5.0 s
  unmount_drive
}

# check NAME CONDITION...: a figure only counts when both sides did the whole job.
check() {
  local name=$1
  shift
  "$@" || {
    echo "run_bench.sh: $name: the outputs are not what they should be" >&2
    exit 1
  }
}

provider_figures() {
  compare provider_list reference_list
  check list check_list
  record "open a folder of 100,000 children" "$provider_s" "$reference_s" 2.0 s

  compare provider_items reference_items
  check items check_items
  record "small request overhead" "$provider_s" "$reference_s" 1.5 s

  compare provider_digest reference_digest
  check digest check_digest
  record "content digest of a 1 GiB file" "$provider_s" "$reference_s" 1.1 s

  check fetch check_fetch
  discard_fetch
  compare provider_fetch reference_fetch discard_fetch
  record "fetch a 512 MiB file" "$provider_s" "$reference_s" 2.0 s
  record "peak anonymous memory of a 4 GiB fetch" "$(fetch_memory)" null 64 MiB

  compare provider_upload reference_upload discard_upload
  record "upload a 512 MiB file" "$provider_s" "$reference_s" 1.3 s

  record "peak resident memory of the upload" "$(upload_memory)" null 64 MiB
}

replica_figures() {
  make_creates
  compare replica_list provider_list fresh_replica
  check replica_list check_replica_list
  record "list 100,000 children into the replica" "$provider_s" "$reference_s" 1.5 s
  fresh_replica
  replica_list
  record "replica resident memory after it" "$(replica_memory)" null 64 MiB
  compare replica_creates shell_creates fresh_replica
  record "drain 1,000 queued 4 KiB creates" "$provider_s" "$reference_s" 1.5 s
}

main() {
  local groups=("$@")
  [ ${#groups[@]} -gt 0 ] || groups=(provider replica mount)
  echo "Preparing data (a folder of 100,000 children, files of 1 GiB and 512 MiB)..." >&2
  start_service
  make_files
  # The 512 MiB content node is what the fetches and the mount read.
  check upload reference_upload
  check upload check_upload
  echo "Measuring: $runs alternating runs after a warm-up, medians of wall-clock time" >&2
  local group
  for group in "${groups[@]}"; do
    case "$group" in
      provider | replica | mount) "${group}_figures" ;;
      *)
        echo "run_bench.sh: no figures named $group (provider, replica, mount)" >&2
        exit 2
        ;;
    esac
  done

  print_table
  write_json
}

main "${@:2}"
