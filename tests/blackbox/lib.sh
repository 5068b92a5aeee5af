# Transcript-test helpers: each case starts from a fresh simulated gateway,
# runs commands on its console and checks output bytes, exit status, the
# store, logs and flash.

REPO_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# GWSIM may name a wrapper of sim/gwsim (the device build's tests use one).
GWSIM=${GWSIM:-$REPO_ROOT/sim/gwsim}
export GWSIM_BUILD=${GWSIM_BUILD:-$REPO_ROOT/build}
TEST_TMP=$(mktemp -d "$GWSIM_BUILD/bbtest.XXXXXX")
trap 'rm -rf "$TEST_TMP"' EXIT
OUT_FILE=$TEST_TMP/stdout
ERR_FILE=$TEST_TMP/stderr
PASSED=0
FAILED=0
CASE=
CASE_FAILED=0
GW=
RC=

close_case() {
	[ -n "$CASE" ] || return 0
	if [ "$CASE_FAILED" = 0 ]; then
		PASSED=$((PASSED + 1))
	else
		FAILED=$((FAILED + 1))
	fi
	[ -n "$GW" ] && rm -rf "$GW"
	GW=
	CASE=
}

# begin NAME: starts a case on a fresh gateway.
begin() {
	close_case
	CASE=$1
	CASE_FAILED=0
	gw_fresh
}

fail() {
	printf 'FAIL: %s: %s\n' "$CASE" "$*"
	CASE_FAILED=1
}

gw_fresh() {
	[ -n "$GW" ] && rm -rf "$GW"
	GW=$(mktemp -d "$TEST_TMP/gw.XXXXXX")
	"$GWSIM" init "$GW" >/dev/null || fail "gwsim init failed"
}

# gw_run CMD [ARGS...]: runs on the gateway's console, stdin empty.
gw_run() {
	"$GWSIM" run "$GW" -- "$@" >"$OUT_FILE" 2>"$ERR_FILE" </dev/null
	RC=$?
}

# bounded_run CMD...: gw_run with a time limit (LIMIT seconds, default 10);
# RC 124 means it hung.
bounded_run() {
	timeout "${LIMIT:-10}" "$GWSIM" run "$GW" -- "$@" >"$OUT_FILE" 2>"$ERR_FILE" </dev/null
	RC=$?
}

# gw_put PATH: writes standard input to PATH inside the gateway as a file of
# the gateway's own (a gateway made by root belongs to an unprivileged user,
# and its root may write only what that user owns).
gw_put() {
	cat >"$GW$1" && chown -h "$(stat -c %u:%g "$GW/.gwsim")" "$GW$1"
}

# gw_flash_put PARTITION OFFSET HEXBYTES: bytes written into a partition (a
# name or /dev/mtdN) through the gateway's flash utility, as the gateway's
# own tools write flash: a byte written straight into the partition file
# would not take on real flash.
gw_flash_put() {
	printf "$(printf '%s' "$3" | sed 's/../\\x&/g')" | gw_put /tmp/flash_bytes &&
		gw_sh "mtd writeflash /tmp/flash_bytes $((${#3} / 2)) $2 $1 && rm /tmp/flash_bytes" ||
		fail "cannot write $3 at $2 of $1"
}

# gw_sh 'command line': runs a line through the gateway's shell without
# recording it in the shell log the tests inspect.
gw_sh() {
	"$GWSIM" run "$GW" -- /bin/busybox sh -c "$1"
}

show_diff() {
	local what=$1 expected=$2 actual=$3
	fail "$what differs"
	printf '  expected: %q\n  actual:   %q\n' "$expected" "$actual"
}

# file_text FILE: FILE's bytes in FILE_TEXT, read without starting a process
# (a case checks dozens of files; a fork and exec for each was most of the
# harness's time). False when FILE is no readable regular file or holds a NUL
# byte, which no shell variable holds: callers then use the tools.
file_text() {
	FILE_TEXT=
	[ -f "$1" ] && [ -r "$1" ] || return 1
	# read stops early, with status 0, only at a NUL byte.
	! IFS= read -r -d '' FILE_TEXT <"$1"
}

compare_file() {
	local what=$1 file=$2 expected=$3 actual LC_ALL=C
	if file_text "$file"; then
		[[ $FILE_TEXT == "$expected" ]] || show_diff "$what" "$expected" "$FILE_TEXT"
	elif ! printf '%s' "$expected" | cmp -s - "$file"; then
		actual=$(cat "$file"; printf x)
		show_diff "$what" "$expected" "${actual%x}"
	fi
}

expect_stdout() { compare_file stdout "$OUT_FILE" "$1"; }
expect_stderr() { compare_file stderr "$ERR_FILE" "$1"; }

expect_rc() {
	[ "$RC" = "$1" ] || fail "exit status $RC, expected $1"
}

# expect_store NODE ATTR VALUE: the attribute holds exactly VALUE.
expect_store() {
	local actual reply=$TEST_TMP/store_reply
	"$GWSIM" run "$GW" -- /userfs/bin/tcapi get "$1" "$2" >"$reply" 2>/dev/null
	if file_text "$reply"; then
		actual=$FILE_TEXT
	else
		actual=$(cat "$reply"; printf x)
		actual=${actual%x}
	fi
	[ "$actual" = "$3"$'\n' ] || show_diff "store $1 $2" "$3" "${actual%$'\n'}"
}

# expect_no_store NODE ATTR: the attribute is absent.
expect_no_store() {
	if "$GWSIM" run "$GW" -- /userfs/bin/tcapi get "$1" "$2" >/dev/null 2>&1; then
		fail "store $1 $2 is set, expected absent"
	fi
}

# expect_file_text PATH TEXT: a file inside the gateway holds exactly TEXT.
expect_file_text() {
	if [ ! -e "$GW$1" ]; then
		fail "$1 missing"
		return
	fi
	compare_file "$1" "$GW$1" "$2"
}

# log_mark LOG: remembers how long a log inside the gateway is now, so that
# expect_log_since can check only what a command appended.
declare -A LOG_MARKS
log_mark() {
	local LC_ALL=C
	if file_text "$GW$1"; then
		LOG_MARKS[$1]=${#FILE_TEXT}
	else
		LOG_MARKS[$1]=$(stat -c %s "$GW$1" 2>/dev/null || echo 0)
	fi
}

# expect_log_since LOG TEXT: what was appended since log_mark is exactly TEXT.
expect_log_since() {
	local start=${LOG_MARKS[$1]:-0} actual LC_ALL=C
	if file_text "$GW$1"; then
		actual=${FILE_TEXT:start}
	else
		actual=$(tail -c +$((start + 1)) "$GW$1" 2>/dev/null; printf x)
		actual=${actual%x}
	fi
	[ "$actual" = "$2" ] || show_diff "$1 since mark" "$2" "$actual"
}

# said PRINTED WRITES: printed the line PRINTED (or nothing), exited 0, and the
# store log gained exactly WRITES since its mark.
TCAPI_LOG=/var/log/tcapi.log
said() { expect_stdout "$1${1:+$'\n'}"; expect_rc 0; expect_log_since $TCAPI_LOG "$2"; }

# flash_hex DEV OFFSET LENGTH: the bytes of a partition file as hex.
flash_hex() {
	od -An -v -tx1 -j "$2" -N "$3" "$GW$1" | tr -d ' \n'
}

# check DESCRIPTION COMMAND...: passes when COMMAND succeeds.
check() {
	local what=$1
	shift
	"$@" || fail "$what"
}

finish() {
	close_case
	printf '%d passed, %d failed\n' "$PASSED" "$FAILED"
	[ "$FAILED" = 0 ]
}

# expect_out STATUS TEXT: the last run exited STATUS and printed exactly TEXT.
expect_out() { expect_rc "$1"; expect_stdout "$2"; }
# run_expect (bounded_expect) STATUS TEXT CMD...: gw_run (bounded_run) CMD, then expect_out.
run_expect() { gw_run "${@:3}"; expect_out "$1" "$2"; }
bounded_expect() { bounded_run "${@:3}"; expect_out "$1" "$2"; }
# expect_clean: the last run exited 0 with nothing on stderr.
expect_clean() { expect_rc 0; expect_stderr ""; }
# plant KIND PATH [TARGET]: in place of PATH inside the gateway, a symlink (to
# TARGET, /etc/planted-target unless given), a FIFO, a directory or a file.
plant() {
	rm -f "$GW$2"
	case $1 in
	symlink) ln -s "${3:-/etc/planted-target}" "$GW$2" ;;
	fifo) mkfifo "$GW$2" ;;
	directory) mkdir "$GW$2" ;;
	file) echo 0 >"$GW$2" ;;
	esac
}
# expect_planted KIND PATH: the link, FIFO or directory planted is still there.
expect_planted() {
	case $1 in
	symlink) check "$2 is still the planted link" test -L "$GW$2" ;;
	fifo) check "$2 is still the planted FIFO" test -p "$GW$2" ;;
	directory) check "$2 is still the planted directory" test -d "$GW$2" ;;
	esac
}
# The console's closing lines; hostile words (10,000 digits, bytes no charset decodes).
OK=$'\nOK\n' ERROR=$'\nERROR\n'
NINES=$(printf '%10000s' '' | tr ' ' 9) HIGH=$'\xff\xc8\x80.1.2.3'
