#!/usr/bin/env bash
# The document tool: every example of docs/documents.md and of the pages below it says what it prints,
# and so does each case below. Usage: xpdoc_test.sh [build/linux]
set -uo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:-$root/build/linux}" && pwd) || exit 1
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
PATH=$build:$PATH
passed=0
failed=0

verdict() { # NAME STATUS: 0 is good
  if [ "$2" -eq 0 ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    printf 'not ok  %s\n' "$1"
    [ -f "$out/diff" ] && sed 's/^/    /' "$out/diff"
  fi
  rm -f "$out/diff"
}

# expect RESULT STDOUT STDERR COMMAND...: STDERR is a word that must stand there, or nothing at all.
expect() {
  local result=$1 stdout=$2 stderr=$3 status=0
  shift 3
  "$@" >"$out/out" 2>"$out/err"
  [ $? -eq "$result" ] || status=1
  diff <(printf '%b' "$stdout") "$out/out" >"$out/diff" || status=1
  if [ -n "$stderr" ]; then grep -q -- "$stderr" "$out/err" || status=1; else [ ! -s "$out/err" ] || status=1; fi
  verdict "$*" $status
}

# ---- the examples of the pages: what follows a "$ " line up to the next is its output ----
cd "$root/docs/documents"
awk '/^```console/{on=1;next} /^```/{on=0} on' ../documents.md ./*.md >"$out/examples"
run_example() {
  [ -n "$command" ] || return
  bash -c "$command" >"$out/out" 2>&1
  # A text that ends without a line feed is shown like one with it.
  [ -z "$(tail -c 1 "$out/out")" ] || echo >>"$out/out"
  diff "$out/wanted" "$out/out" >"$out/diff"
  verdict "$command" $?
}
command=''
while IFS= read -r line; do
  if [ "${line:0:2}" = '$ ' ]; then
    run_example
    command=${line:2}
    : >"$out/wanted"
  else
    printf '%s\n' "$line" >>"$out/wanted"
  fi
done <"$out/examples"
run_example

# ---- reading and results ----
expect 0 '8.1.0\n' '' xpdoc -k /version "$root/docs/documents/settings.plist"
expect 0 '{"b":1}\n' '' bash -c 'printf "{\"a\":{\"b\":1}}" | xpdoc -k/a'
expect 0 'true\n' '' xpdoc -k /silent settings.plist
expect 0 '414243\n' '' xpdoc -k /digest settings.plist
expect 1 '' "can't be opened" xpdoc no-such-file
expect 1 '' "can't be" xpdoc "$out"
expect 1 '' 'it is empty' xpdoc /dev/null
expect 1 '' 'UTF-16' bash -c 'printf "\xff\xfe<\0a\0" | xpdoc'
expect 1 '' 'byte order mark' bash -c 'printf "\xef\xbb\xbf<list/>" | xpdoc'
expect 1 '' 'zero byte' bash -c 'printf "<list/>\0" | xpdoc'
expect 1 '' 'no known kind' bash -c 'echo words | xpdoc'
expect 1 '' 'written' bash -c 'xpdoc settings.plist >/dev/full'
expect 2 '' 'no style' xpdoc -s yaml settings.plist
expect 2 '' 'Usage: xpdoc' xpdoc --unknown
expect 2 '' 'Usage: xpdoc' xpdoc settings.plist words.xml

xpdoc --help >"$out/out" 2>"$out/err"
[ $? -eq 0 ] && grep -q 'Usage: xpdoc' "$out/out" && [ ! -s "$out/err" ]
verdict '--help goes to standard output' $?

# What a document is written as reads back as the same document.
for file in settings.plist words.xml package.json query.form; do
  xpdoc "$file" | xpdoc >"$out/twice" && xpdoc "$file" | diff - "$out/twice" >"$out/diff"
  verdict "$file written, read and written" $?
done

# A large document, more than a pipe holds, arrives whole.
{
  printf '<plist><array>'
  for ((i = 0; i < 40000; i++)); do printf '<string>%d</string>' $i; done
  printf '</array></plist>'
} >"$out/large.plist"
[ "$(xpdoc -s json "$out/large.plist" | wc -c)" -eq 308892 ]
verdict 'a large document' $?

printf '\n%d passed, %d failed\n' "$passed" "$failed"
[ "$failed" -eq 0 ]
