#!/usr/bin/env bash
# Holds what the program reports of a real directory against what find and awk say of it: files and
# bytes by extension, owner and group, a query.
#
#   peers.sh TABULON MKDTL [DIR]    DIR: a directory of the system of a good size, unless given
# shellcheck disable=SC2016  # awk programs are in single quotes
set -euo pipefail
export LC_ALL=C TZ=UTC

readonly tabulon=$1 mkdtl=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
readonly work

fail() {
  printf 'peers: %s\n' "$*" >&2
  exit 1
}

# Everything below $directory, a line each: type, permissions, size, uid, gid, links, ctime, mtime,
# path from $directory. Characters beyond ASCII become '?', as the program writes them in the C
# locale.
list_with_find() {
  find "$directory" -xdev -printf '%y\t%m\t%s\t%U\t%G\t%n\t%C@\t%T@\t%P\n' |
    sed -E 's/[\xC0-\xDF].|[\xE0-\xEF]../?/g'
}

# Names that a line can hold, in UTF-8 of at most three bytes a character.
has_plain_names() {
  [[ -z $(find "$1" -xdev -name $'*[\n\t]*' -print -quit) ]] &&
    find "$1" -xdev >"$work/names" &&
    iconv -f UTF-8 -t UTF-16LE "$work/names" >"$work/utf16" &&
    ! grep -q $'[\xF0-\xFF]' "$work/names"
}

choose_directory() {
  local candidate count
  for candidate in /usr/share /usr/include /usr/lib /etc; do
    count=$(find "$candidate" -xdev 2>/dev/null | head -n 80001 | wc -l) || continue
    if [[ $count -ge 1000 && $count -le 80000 ]] && has_plain_names "$candidate"; then
      directory=$candidate
      return 0
    fi
  done
  fail "no directory of a fitting size"
}

# A scan, and a list that did not change while it was made.
scan_and_list() {
  local attempt
  for attempt in 1 2 3; do
    list_with_find >"$work/list"
    "$mkdtl" scan "$directory" "$work/scan.dtl" >"$work/out" || fail "the scan failed"
    list_with_find | cmp -s - "$work/list" && return 0
    echo "peers: $directory changed during attempt $attempt"
  done
  fail "$directory changes all the time"
}

# same WHAT EXPECTED: compares the rest of the pipe with a file.
same() {
  diff -u --label "$1, by find" --label "$1, reported" "$2" - >"$work/diff" && return 0
  head -n 40 "$work/diff"
  fail "$1: not what find says"
}

# tally KEY: an awk expression's values, with count and bytes of each.
tally() {
  awk -F '\t' "$library"' { key = '"$1"'; if (key != "") { n[key]++; bytes[key] += $3 } }
    END { for (key in n) printf "%s\t%d\t%.0f\n", key, n[key], bytes[key] }' "$work/list" | sort
}

# What the awk programs share.
readonly library='
  function leaf(path) { sub(/.*\//, "", path); return path }
  function extension(name) {
    if (!match(name, /\.[^.]*$/) || RSTART == 1 || RLENGTH < 2 || RLENGTH > 13) return ""
    return substr(name, RSTART)
  }
'

if [[ $# -ge 3 ]]; then directory=$3; else choose_directory; fi
readonly directory
scan_and_list
echo "peers: $directory, $(wc -l <"$work/list") entries"

{
  printf '[parameters]\ncsvsep = t\n'
  for report in 'summary;format=csv;fields=files,dirs,filesize;reportfile=summary.csv' \
    'filetypes;format=csv;extlen=12;select=type is file;reportfile=types' \
    'uidtotals;format=csv;reportfile=uids' 'gidtotals;format=csv;reportfile=gids'; do
    printf '[report]\ntype=%s\n' "${report//;/$'\n'}"
  done
} >"$work/run.cfg"
"$tabulon" -dtl "$work/scan.dtl" -cfg "$work/run.cfg" -rdir "$work/reports" -tempdir "$work/temp" \
  >"$work/out" 2>"$work/err" || { cat "$work/err"; fail "the reports failed"; }
[[ -z $(ls -A "$work/temp") ]] || fail "temporary files were left"
cd "$work/reports"

awk -F '\t' '$1 == "d" { dirs++ } $1 != "d" { files++; bytes += $3 }
  END { printf "%d\t%d\t%.0f\n", files, dirs, bytes }' "$work/list" >"$work/expected"
same "totals" "$work/expected" <summary.csv

# Several names may look alike once characters have become '?'.
merged() { awk -F '\t' '{ n[$1] += $2; b[$1] += $3 }
  END { for (key in n) printf "%s\t%d\t%.0f\n", key, n[key], b[key] }' "$1" | sort; }
by() { tally "$2" >"$work/expected"; merged "$1" | same "$1" "$work/expected"; }
by types '$1 == "d" ? "" : extension(leaf($9))'
by uids '$4'
by gids '$5'

# A query.
awk -F '\t' -v root="$directory" "$library"'
  $1 == "f" && $3 > 20000 && ($6 > 1 || tolower(leaf($9)) ~ /[.].*s/) {
    print root (root == "/" ? "" : "/") $9
  }' "$work/list" | sort >"$work/expected"
"$tabulon" -dtl "$work/scan.dtl" -qf 'size gt 20k [and] (links gt 1 [or] name matches *.*s*)' \
  2>"$work/err" | sort | same "a query" "$work/expected"
echo "peers: all alike; $(wc -l <"$work/expected") files in the query"
