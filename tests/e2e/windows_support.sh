# What the tests of Windows programs under Wine share. To be sourced by tests/e2e/windows_*_test.sh;
# sets root, build (the build folder, argument 1) and out (a scratch folder), and starts Wine.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$(cd "${1:-$root/build/windows}" && pwd) || exit 1
. "$root/tools/wine-env.sh" || exit 1
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
passed=0
failed=0

# verdict NAME STATUS LOG: counts a check, and shows its output when it failed.
verdict() {
  if [ "$2" -eq 0 ]; then
    passed=$((passed + 1))
    echo "ok      $1"
  else
    failed=$((failed + 1))
    echo "not ok  $1"
    tail -40 "$3"
  fi
}

# The last line of a test script; its status is the script's.
summary() {
  echo "$passed passed, $failed failed"
  [ "$failed" -eq 0 ]
}

# registry add|delete KEY [...]: an edit of the computer's registry.
registry() {
  wine reg "$@" /f >/dev/null 2>&1 </dev/null
}
