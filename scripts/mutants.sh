#!/usr/bin/env bash
# Mutation check: puts each fault of scripts/mutants.txt into the sources in
# turn, rebuilds what its owning tests need, runs them, and puts the file back.
#
#   scripts/mutants.sh [--dry-run] [BUILD_DIR] [ID...]
#
# BUILD_DIR (default build) is a configured build tree; the first argument is
# taken as one when it is a directory. Without IDs every mutant runs. Each
# ends as
#   killed        an owning test failed, crashed or ran past the timeout
#   survived      every owning test passed
#   build-broken  the mutant does not compile (not counted as killed)
#   stale         its original text is not in its file exactly once
#   no-tests      an owner's filter or regex selected no test (a list error)
# The kill rate is killed / (killed + survived), mutants marked equivalent
# left out. Results go to BUILD_DIR/mutants.log, build and test output of
# each mutant to BUILD_DIR/mutants/<id>.log.
#
# --dry-run only checks that every mutant applies (its original occurs
# exactly once) and, where the build tree has its test lists, that every
# owner selects some test; it changes no file and builds nothing.
#
# The real run refuses to start while a file that a selected mutant touches
# has uncommitted changes, and it always writes the saved original back (on
# exit and on interrupt too); should the process be killed outright, the
# saved copy stays in BUILD_DIR/mutants/ and the next run says so.
#
# MUTANTS_TIMEOUT (seconds, default 1200) bounds each test run; MUTANTS_JOBS
# (default 2) is the build's -j; MUTANTS_LIST names another list than
# scripts/mutants.txt (paths in it stay relative to the repository root).
set -u
# Started as "sh scripts/mutants.sh": the rest needs bash.
[ -n "${BASH_VERSION:-}" ] || exec bash "$0" "$@"

cd "$(dirname "$0")/.." || exit 2
LIST=${MUTANTS_LIST:-scripts/mutants.txt}
TIMEOUT=${MUTANTS_TIMEOUT:-1200}
JOBS=${MUTANTS_JOBS:-2}

DRY=0
BUILD=build
IDS=()
for arg in "$@"; do
    case $arg in
    --dry-run) DRY=1 ;;
    -h | --help)
        sed -n '2,/^set -u/p' "$0" | sed '$d; s/^# \{0,1\}//'
        exit 0
        ;;
    -*)
        echo "mutants.sh: unknown option $arg" >&2
        exit 2
        ;;
    *)
        if [ ${#IDS[@]} -eq 0 ] && [ "$BUILD" = build ] && [ -d "$arg" ]; then
            BUILD=${arg%/}
        else
            IDS+=("$arg")
        fi
        ;;
    esac
done

# The list's reader, applier and checker. Literal text only: no regexes.
read -r -d '' HELPER <<'PY'
import os, re, sys

KINDS = {"op", "bound", "wrap", "loop", "const", "msg", "border", "check", "dispatch"}
BINARIES = ("tirn_unit_tests", "tirn_abi_tests", "tirn_host_tests")
OWNER = re.compile(r"^(?:(%s)(?:=(\S+))?|ctest=(\S+))$" % "|".join(BINARIES))


def fail(msg):
    sys.stderr.write("%s: %s\n" % (sys.argv[2], msg))
    sys.exit(2)


def fields(line):
    out, cur, i = [], [], 0
    while i < len(line):
        c = line[i]
        if c == "\\" and line[i + 1:i + 2] == "|":
            cur.append("|")
            i += 2
            continue
        if c == "|":
            out.append("".join(cur))
            cur = []
        else:
            cur.append(c)
        i += 1
    out.append("".join(cur))
    return [f.strip(" \t") for f in out]


def load(path):
    mutants, seen = [], set()
    with open(path, encoding="utf-8") as f:
        for n, raw in enumerate(f, 1):
            line = raw.rstrip("\n")
            if not line.strip() or line.lstrip().startswith("#"):
                continue
            parts = fields(line)
            if len(parts) not in (6, 7):
                fail("line %d: %d fields, 6 or 7 expected" % (n, len(parts)))
            m = dict(zip(("id", "kind", "path", "original", "replacement", "owners", "note"),
                         parts + [""] * (7 - len(parts))))
            m["line"] = n
            if not re.match(r"^[a-z]+-\d+$", m["id"]):
                fail("line %d: bad id %r" % (n, m["id"]))
            if m["id"] in seen:
                fail("line %d: id %s used twice" % (n, m["id"]))
            seen.add(m["id"])
            if m["kind"] not in KINDS:
                fail("line %d: unknown kind %r" % (n, m["kind"]))
            if os.path.isabs(m["path"]) or ".." in m["path"].split("/"):
                fail("line %d: path %r is not inside the repository" % (n, m["path"]))
            if not m["original"]:
                fail("line %d: empty original" % n)
            if m["original"] == m["replacement"]:
                fail("line %d: the replacement is the original" % n)
            owners = m["owners"].split()
            if not owners or not all(OWNER.match(o) for o in owners):
                fail("line %d: bad owners %r" % (n, m["owners"]))
            m["equivalent"] = m["note"].startswith("equivalent")
            mutants.append(m)
    return mutants


def select(mutants, ids):
    if not ids:
        return mutants
    by_id = {m["id"]: m for m in mutants}
    unknown = [i for i in ids if i not in by_id]
    if unknown:
        fail("no mutant " + ", ".join(unknown))
    return [by_id[i] for i in ids]


def occurrences(data, text):
    n, at = 0, data.find(text)
    while at >= 0:
        n += 1
        at = data.find(text, at + 1)
    return n


def count(m):
    if not os.path.isfile(m["path"]):
        return -1
    with open(m["path"], "rb") as f:
        return occurrences(f.read(), m["original"].encode("utf-8"))


def glob_re(pattern):
    return re.compile("".join(".*" if c == "*" else "." if c == "?" else re.escape(c)
                              for c in pattern) + r"\Z")


def gtest_matches(name, flt):
    positive, _, negative = flt.partition("-")
    pos = [p for p in positive.split(":") if p] or ["*"]
    neg = [p for p in negative.split(":") if p]
    return (any(glob_re(p).match(name) for p in pos)
            and not any(glob_re(p).match(name) for p in neg))


def test_lists(build):
    """Names of the discovered tests: real GoogleTest names per binary, and
    every ctest name. None where the build tree does not have them yet."""
    gtests, ctests = {}, None
    for b in BINARIES:
        path = os.path.join(build, "tests", b + "[1]_tests.cmake")
        if not os.path.isfile(path):
            continue
        text = open(path, encoding="utf-8", errors="replace").read()
        gtests[b] = re.findall(r"--gtest_filter=([^\]]*)\]==\]", text)
        ctests = (ctests or []) + re.findall(r"^add_test\(\[=\[(.*?)\]=\]", text, re.M)
    for d, _, files in os.walk(build):
        if "CTestTestfile.cmake" in files:
            text = open(os.path.join(d, "CTestTestfile.cmake"), encoding="utf-8",
                        errors="replace").read()
            found = re.findall(r"^add_test\(([A-Za-z0-9_.-]+) ", text, re.M)
            if found:
                ctests = (ctests or []) + found
    return gtests, ctests


def owner_report(owners, gtests, ctests):
    notes, empty = [], False
    for o in owners.split():
        m = OWNER.match(o)
        if m.group(3) is not None:
            if ctests is None:
                notes.append("%s: unchecked" % o)
                continue
            n = sum(1 for t in ctests if re.search(m.group(3), t))
        else:
            if m.group(1) not in gtests:
                notes.append("%s: unchecked" % o)
                continue
            n = sum(1 for t in gtests[m.group(1)] if gtest_matches(t, m.group(2) or "*"))
        empty = empty or n == 0
        notes.append("%s: %d tests" % (o, n))
    return empty, notes


def main():
    cmd, listfile = sys.argv[1], sys.argv[2]
    mutants = load(listfile)
    if cmd == "plan":
        # id <TAB> path <TAB> equivalent <TAB> kind <TAB> owners
        for m in select(mutants, sys.argv[3:]):
            print("\t".join((m["id"], m["path"], "1" if m["equivalent"] else "0", m["kind"],
                             m["owners"])))
    elif cmd == "show":
        m = select(mutants, sys.argv[3:4])[0]
        print("%s (%s) %s, line %d of the list" % (m["id"], m["kind"], m["path"], m["line"]))
        print("- " + m["original"])
        print("+ " + m["replacement"])
        if m["note"]:
            print("  " + m["note"])
    elif cmd == "count":
        print(count(select(mutants, sys.argv[3:4])[0]))
    elif cmd == "apply":
        m = select(mutants, sys.argv[3:4])[0]
        if count(m) != 1:
            sys.exit(3)
        with open(m["path"], "rb") as f:
            data = f.read()
        data = data.replace(m["original"].encode("utf-8"), m["replacement"].encode("utf-8"), 1)
        with open(m["path"], "wb") as f:
            f.write(data)
    elif cmd == "check":
        build, chosen = sys.argv[3], select(mutants, sys.argv[4:])
        gtests, ctests = test_lists(build)
        bad = 0
        areas = {}
        for m in chosen:
            n = count(m)
            state = "ok" if n == 1 else "missing file" if n < 0 else "stale (%d times)" % n
            empty, notes = owner_report(m["owners"], gtests, ctests)
            if n != 1 or empty:
                bad += 1
            if empty:
                state += ", an owner selects no test"
            area = m["id"].split("-")[0]
            areas[area] = areas.get(area, 0) + 1
            print("%-8s %-24s %s%s" % (m["id"], state, m["path"],
                                       "  [equivalent]" if m["equivalent"] else ""))
            print("         " + "; ".join(notes))
        print("")
        print("per area: " + ", ".join("%s %d" % kv for kv in areas.items()))
        print("%d mutants, %d apply cleanly with owners that select tests, %d do not" %
              (len(chosen), len(chosen) - bad, bad))
        sys.exit(1 if bad else 0)
    else:
        fail("unknown helper command " + cmd)


main()
PY

helper() { python3 -c "$HELPER" "$@"; }

PLAN=$(helper plan "$LIST" "${IDS[@]}") || exit 2

if [ "$DRY" = 1 ]; then
    helper check "$LIST" "$BUILD" "${IDS[@]}"
    exit $?
fi

# --- The real run ---------------------------------------------------------------------

[ -f "$BUILD/CMakeCache.txt" ] || {
    echo "mutants.sh: $BUILD is no configured build tree (run scripts/build.sh first)" >&2
    exit 2
}
git rev-parse --is-inside-work-tree >/dev/null 2>&1 || {
    echo "mutants.sh: not a git work tree; uncommitted work could not be told apart" >&2
    exit 2
}
dirty=0
for path in $(printf '%s\n' "$PLAN" | cut -f2 | sort -u); do
    if ! git diff --quiet -- "$path" || ! git diff --cached --quiet -- "$path"; then
        echo "mutants.sh: $path has uncommitted changes; commit or stash them first" >&2
        dirty=1
    fi
done
[ "$dirty" = 0 ] || exit 2

STATE=$BUILD/mutants
mkdir -p "$STATE"
# The terminal's standard error, for what must be seen while a command's
# output goes to a log.
exec 4>&2
if [ -f "$STATE/backup.path" ]; then
    echo "mutants.sh: an earlier run ended before it restored $(cat "$STATE/backup.path")." >&2
    echo "  Its original is $STATE/backup.orig: compare, copy it back, then delete" >&2
    echo "  $STATE/backup.orig and $STATE/backup.path." >&2
    exit 2
fi
mkdir "$STATE/lock" 2>/dev/null || {
    echo "mutants.sh: another run holds $STATE/lock (remove it if none does)" >&2
    exit 2
}

CUR_PATH=
CHILD=
restore() {
    if [ -n "$CUR_PATH" ]; then
        if cp "$STATE/backup.orig" "$CUR_PATH"; then
            rm -f "$STATE/backup.orig" "$STATE/backup.path"
        else
            echo "mutants.sh: could not restore $CUR_PATH; its original is $STATE/backup.orig" >&4
        fi
        CUR_PATH=
    fi
}
stop_child() {
    if [ -n "$CHILD" ]; then
        kill -TERM -- "-$CHILD" 2>/dev/null || kill -TERM "$CHILD" 2>/dev/null
        wait "$CHILD" 2>/dev/null
        CHILD=
    fi
}
finish() {
    restore
    rmdir "$STATE/lock" 2>/dev/null
}
on_signal() {
    trap - INT TERM HUP
    echo "mutants.sh: interrupted; restoring the sources" >&4
    stop_child
    finish
    exit "$1"
}
trap finish EXIT
trap 'on_signal 130' INT
trap 'on_signal 143' TERM
trap 'on_signal 129' HUP

# Runs a command in a process group of its own, so that an interrupt can end
# all of it (compilers under make, tests under timeout).
run() {
    if command -v setsid >/dev/null 2>&1; then
        setsid -w "$@" &
    else
        "$@" &
    fi
    CHILD=$!
    wait "$CHILD"
    local rc=$?
    CHILD=
    return $rc
}

# The cmake targets an owner's tests are built from; "" for everything.
targets_of() {
    case $1 in
    tirn_unit_tests* | tirn_abi_tests* | tirn_host_tests*) echo "${1%%=*}" ;;
    ctest=*PythonPackage*) echo tirnvision_python ;;
    *) echo "" ;;
    esac
}

# 0 passed, 1 failed, 2 timed out, 3 selected no test, 4 not built.
run_owner() {
    local owner=$1 log=$2 rc
    echo "== $owner" >>"$log"
    case $owner in
    ctest=*)
        run timeout -k 30 "$TIMEOUT" ctest --test-dir "$BUILD" -R "${owner#ctest=}" \
            --output-on-failure >>"$log" 2>&1
        rc=$?
        [ $rc -eq 0 ] && grep -q "No tests were found" "$log" && return 3
        ;;
    *)
        local bin=${owner%%=*} filter=
        [ "$bin" != "$owner" ] && filter=${owner#*=}
        [ -x "$BUILD/tests/$bin" ] || {
            echo "$BUILD/tests/$bin is missing" >>"$log"
            return 4
        }
        local args=()
        [ -n "$filter" ] && args=("--gtest_filter=$filter")
        run timeout -k 30 "$TIMEOUT" env -C "$BUILD/tests" "./$bin" "${args[@]}" >>"$log" 2>&1
        rc=$?
        [ $rc -eq 0 ] && tail -n 5 "$log" | grep -q '\[  PASSED  \] 0 tests' && return 3
        ;;
    esac
    case $rc in
    0) return 0 ;;
    124 | 137) return 2 ;;
    *) return 1 ;;
    esac
}

RESULTS=$BUILD/mutants.log
: >"$RESULTS.tmp"
BUILT_TARGETS=" "
killed=0 survived=0 broken=0 stale=0 notests=0 equiv=0
total=$(printf '%s\n' "$PLAN" | grep -c .)
i=0
while IFS=$'\t' read -r -u 3 id path equivalent kind owners; do
    i=$((i + 1))
    log=$STATE/$id.log
    helper show "$LIST" "$id" >"$log"
    result='' detail=''
    if [ "$(helper count "$LIST" "$id")" != 1 ]; then
        result=stale
    else
        cp -p "$path" "$STATE/backup.orig" && echo "$path" >"$STATE/backup.path" || exit 2
        CUR_PATH=$path
        if ! helper apply "$LIST" "$id"; then
            result=stale
        else
            for owner in $owners; do
                targets=$(targets_of "$owner")
                BUILT_TARGETS="$BUILT_TARGETS${targets:-all} "
                echo "== build ${targets:-all}" >>"$log"
                # shellcheck disable=SC2086
                if ! run cmake --build "$BUILD" -j"$JOBS" ${targets:+--target $targets} \
                    >>"$log" 2>&1; then
                    result=build-broken
                    break
                fi
                run_owner "$owner" "$log"
                case $? in
                0) continue ;;
                1) result=killed detail=$owner ;;
                2) result=killed detail="$owner (timeout)" ;;
                3) result=no-tests detail=$owner ;;
                4) result=build-broken detail="$owner not built" ;;
                esac
                break
            done
            [ -n "$result" ] || result=survived
        fi
        restore
    fi
    case $result in
    killed) [ "$equivalent" = 1 ] && equiv=$((equiv + 1)) || killed=$((killed + 1)) ;;
    survived) [ "$equivalent" = 1 ] && equiv=$((equiv + 1)) || survived=$((survived + 1)) ;;
    build-broken) broken=$((broken + 1)) ;;
    stale) stale=$((stale + 1)) ;;
    no-tests) notests=$((notests + 1)) ;;
    esac
    line=$(printf '%-9s %-13s %-8s %s%s%s' "$id" "$result" "$kind" "$path" \
        "${detail:+  [$detail]}" "$([ "$equivalent" = 1 ] && echo '  (equivalent)')")
    printf '[%d/%d] %s\n' "$i" "$total" "$line"
    echo "$line" >>"$RESULTS.tmp"
done 3<<<"$PLAN"

# Leave the build tree matching the restored sources.
case $BUILT_TARGETS in *" all "*) BUILT_TARGETS=" all " ;; esac
for t in $(printf '%s' "$BUILT_TARGETS" | tr ' ' '\n' | sort -u); do
    echo "rebuilding $t from the restored sources"
    target=()
    [ "$t" = all ] || target=(--target "$t")
    run cmake --build "$BUILD" -j"$JOBS" "${target[@]}" >>"$STATE/rebuild.log" 2>&1 ||
        echo "  failed: see $STATE/rebuild.log"
done

if [ $((killed + survived)) -gt 0 ]; then
    rate=$(awk -v k=$killed -v s=$survived 'BEGIN { printf "%.1f%%", 100 * k / (k + s) }')
else
    rate=n/a
fi
summary="killed $killed, survived $survived, build-broken $broken, stale $stale, no-tests $notests, equivalent $equiv; kill rate $rate (killed / (killed + survived))"
{
    echo "# scripts/mutants.sh $(date -u '+%Y-%m-%d %H:%M UTC'), commit $(git rev-parse --short HEAD)"
    cat "$RESULTS.tmp"
    echo "# $summary"
} >"$RESULTS"
rm -f "$RESULTS.tmp"
echo
echo "$summary"
echo "results in $RESULTS, output of each mutant in $STATE/<id>.log"
[ $((stale + notests)) -eq 0 ]
