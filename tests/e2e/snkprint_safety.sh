#!/usr/bin/env bash
# Nothing the user had is lost: a full device and SIGTERM in mid-job leave
# the earlier file as it was, with a message and a non-zero exit; arguments
# that cannot be right are refused with exit 2 before any file is touched.
set -euo pipefail
export SOURCE_DATE_EPOCH=1700000000 TZ=UTC
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
export XDG_CONFIG_HOME="$tmp/config"
work="$tmp/work"
mkdir -p "$work"
"$SNK_BUILD/make_sample_job" "$tmp" > /dev/null
page="$tmp/sample-1.emf"
snkprint() { "$SNK_BUILD/snkprint" --dpi 72 "$@"; }
fail() { echo "FAIL: $*"; exit 1; }
state() { (cd "$work" && find . -printf '%p %s %m %l\n' | sort && find . -type f -exec md5sum {} + | sort); }

# A link to /dev/full: the failure is reported and the link stays.
ln -s /dev/full "$work/full.pdf"
status=0
snkprint "$page" -o "$work/full.pdf" 2> "$tmp/err" || status=$?
[ $status -ne 0 ] || fail "/dev/full: exit 0"
grep -q "No space left on device" "$tmp/err" || fail "/dev/full: $(cat "$tmp/err")"
[ -L "$work/full.pdf" ] || fail "/dev/full: the link was replaced"

# SIGTERM in the middle of a long job: the earlier file stays, no temporary.
echo earlier > "$work/out.pdf"
pages=()
for _ in $(seq 700); do pages+=("$tmp"/sample-*.emf); done
"$SNK_BUILD/snkprint" --dpi 72 "${pages[@]}" -o "$work/out.pdf" 2> "$tmp/err" &
job=$!
sleep 2
kill -TERM $job
status=0
wait $job || status=$?
[ $status -eq 143 ] || fail "SIGTERM: exit $status (the job ended before the signal?)"
grep -q interrupted "$tmp/err" || fail "SIGTERM: no message"
[ "$(cat "$work/out.pdf")" = earlier ] || fail "SIGTERM: the earlier file changed"
[ -z "$(find "$work" -name '.*' -type f)" ] || fail "SIGTERM: a temporary file is left"
ls "$XDG_CONFIG_HOME"/Kelmo*/*/KMCPrivate_* > /dev/null 2>&1 && fail "SIGTERM: the job's settings file is left"

# Refused arguments: exit 2, a message, nothing touched.
cp "$page" "$work/page.pdf"
long="$work/$(printf 'd%.0s' {1..200})/$(printf 'f%.0s' {1..100}).pdf"
XDG_CONFIG_HOME="$tmp/batch" "$SNK_BUILD/snkprint" config set printer.Batch 1
while IFS='|' read -r what config args; do
  before=$(state)
  eval "set -- $args"
  status=0
  XDG_CONFIG_HOME="$tmp/$config" snkprint "$@" 2> "$tmp/err" || status=$?
  [ $status -eq 2 ] || fail "$what: exit $status"
  grep -q "^snkprint: " "$tmp/err" || fail "$what: no message"
  [ "$before" = "$(state)" ] || fail "$what: a file was touched"
done << EOF
empty -o|config|"$page" -o ""
output is an input|config|"$work/page.pdf" -o "$work/page.pdf"
path too long|config|"$page" -o "$long"
--no-overwrite on an existing file|config|--no-overwrite "$page" -o "$work/out.pdf"
batch mode and -o|batch|"$page" -o "$work/batch.pdf"
empty --title|config|--title "" "$page" -o "$work/titled.pdf"
EOF

# A PDFVersion outside 13 to 17 is taken, with a warning.
snkprint --set PDFVersion=12 "$page" -o "$work/v12.pdf" 2> "$tmp/err"
grep -q "no %PDF header" "$tmp/err" || fail "PDFVersion 12: no warning"
head -c 5 "$work/v12.pdf" | grep -q "%PDF" && fail "PDFVersion 12: a header line"
"$SNK_BUILD/snkprint" config set PDFVersion 18 2>&1 | grep -q "no %PDF header" || fail "config set: no warning"

# Inputs that cannot be pages are refused before they are read.
truncate -s 2G "$tmp/huge.emf"
for input in /dev/zero "$tmp/huge.emf"; do
  status=0
  timeout 10 "$SNK_BUILD/snkprint" "$input" -o "$work/none.pdf" 2> "$tmp/err" || status=$?
  [ $status -eq 1 ] && grep -Eq "not a regular file|larger than the EMF size limit" "$tmp/err" || fail "$input: $status"
done

# On a terminal one progress line is rewritten in place and cleared at the
# end; piped, or with --quiet, nothing is shown.
run="'$SNK_BUILD/snkprint' --dpi 72 $tmp/sample-1.emf $tmp/sample-2.emf $tmp/sample-3.emf -o '$work/p.pdf'"
shown=$(script -qec "$run" /dev/null)
[[ "$shown" == *"page 3 of 3: sample-3.emf"* && "$shown" == *$'\r\033[K' ]] || fail "progress: $shown"
[ -z "$(script -qec "$run --quiet" /dev/null)" ] || fail "progress with --quiet"
eval "$run" 2> "$tmp/err"
[ ! -s "$tmp/err" ] || fail "piped: $(cat "$tmp/err")"
echo "safety checks passed"
