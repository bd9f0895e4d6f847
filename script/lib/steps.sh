# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# The steps of .ci/run and script/verify. It is sourced after common.sh, in the project's directory.
#
# A step has a preparation, which compiles, and a command, which tests. A command that ends with 77 was
# skipped, and the last line of its output says why. The log and the result of each step are kept in build/steps.

step_dir=${project_dir:?}/build/steps
readonly skipped_status=77

# Steps that mostly wait. They run in the background, one after another, while the other steps compile. What compiles is
# run with less priority, so that the tests in the background are not late.
readonly background_steps=(daemon-tsan daemon-asan daemon-debug shipped-options differences openwrt-libraries packaging
    web acceptance acceptance-hawkbit prove-20 prove-300 fleet daemon-armhf daemon-musl)
readonly foreground_steps=(unit-debug unit-asan unit-tsan unit-armhf unit-musl fuzzing clang compilers sdk size lint)
# shellcheck disable=SC2034  # read by script/verify
readonly all_steps=(bootstrap "${background_steps[@]}" "${foreground_steps[@]}")

# With a sanitizer g++ gives false warnings about the standard library. Its warnings without one count.
declare -rA build_options=(
    [debug]="-DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DZEPHRAN_BUILD_BENCH=ON"
    [openwrt]=-DCMAKE_COMPILE_WARNING_AS_ERROR=ON
    [fuzz]=-DCMAKE_COMPILE_WARNING_AS_ERROR=ON
    [asan]=-DCMAKE_COMPILE_WARNING_AS_ERROR=OFF
    [tsan]=-DCMAKE_COMPILE_WARNING_AS_ERROR=OFF
    [armhf]=-DCMAKE_COMPILE_WARNING_AS_ERROR=ON
    [musl]=-DCMAKE_COMPILE_WARNING_AS_ERROR=ON)
# How long callers on the message bus compete with the main loop. Races need longer to show.
declare -rA soak_seconds=([tsan]=60 [asan]=5 [debug]=5 [armhf]=5 [musl]=5)
# Seconds from one power cut to the next. What the cuts find hardly depends on the build.
declare -rA power_cut_step=([tsan]=15 [asan]=15 [debug]=12 [openwrt]=15 [armhf]=15 [musl]=15)

# How long each fuzz target runs; .ci/run has less time.
: "${ZEPHRAN_FUZZ_SECONDS:=30}"

describe_step() {
    case $1 in
        bootstrap) echo "install the packages that the other steps need" ;;
        daemon-*) echo "tests of the daemon and of the development kit with the preset ${1#daemon-}" ;;
        shipped-options) echo "tests of the daemon on gateways with the options that the package ships" ;;
        differences) echo "that each difference which the shipped options are said to make is one" ;;
        openwrt-libraries) echo "unit tests, tests of the kit's stand-ins and of the daemon on OpenWrt's own libraries;" \
            "skipped without them" ;;
        packaging) echo "tests of the OpenWrt package" ;;
        fleet) echo "that a simulated fleet recovers from an outage and a blackout" ;;
        prove-*) echo "a sample of each part of script/prove, of ${1#prove-} seconds" ;;
        web) echo "tests of the page of the web interface in a browser; in LuCI itself where LUCI_DIR names a checkout" ;;
        acceptance) echo "acceptance scenarios against the server of the development kit" ;;
        acceptance-hawkbit) echo "acceptance scenarios against a real hawkBit; skipped without its jar" ;;
        unit-*) echo "unit tests with the preset ${1#unit-}" ;;
        fuzzing) echo "the fuzz targets, $ZEPHRAN_FUZZ_SECONDS s each" ;;
        clang) echo "the daemon compiled by clang++ without warnings" ;;
        compilers) echo "the daemon compiled with Boost 1.81, as C++17 and C++20, by g++ and clang++" ;;
        sdk) echo "the daemon built as in an SDK, with libraries staged as OpenWrt's feed does" ;;
        size) echo "the size of a release within its budget" ;;
        lint) echo "formatting, static analysis, scripts and includes" ;;
    esac
}

build_preset() {
    local preset=$1 options
    shift
    read -ra options <<<"${build_options[$preset]}"
    nice script/build "$preset" "$@" "${options[@]}"
}

prepare_step() {
    local programs=(--target zephran --target devkit/all)
    case $1 in
        daemon-*) build_preset "${1#daemon-}" "${programs[@]}" ;;
        # Without the libraries the command says what to set.
        openwrt-libraries) ! script/openwrt-libraries || build_preset openwrt ;;
        shipped-options | differences | packaging | web | acceptance | acceptance-hawkbit)
            build_preset debug "${programs[@]}" ;;
        # It installs its tools, which steps that run side by side cannot do.
        prove-*) build_preset debug "${programs[@]}" && script/prove --list ;;
        fleet) build_preset debug --target zephran_fleet ;;
        unit-*) build_preset "${1#unit-}" ;;
        fuzzing) build_preset fuzz --target fuzz ;;
    esac
}

run_step() {
    local preset=${1#*-}
    case $1 in
        # Once for all: steps that run side by side cannot install at the same time.
        bootstrap) script/bootstrap --tests --lint --clang --fuzz --arm ;;
        daemon-*) env "ZEPHRAN_SOAK_SECONDS=${soak_seconds[$preset]}" \
            "ZEPHRAN_POWER_CUT_STEP=${power_cut_step[$preset]}" \
            script/test --preset "$preset" --no-build --jobs 24 --only devkit --only daemon ;;
        shipped-options) env ZEPHRAN_OPTIONS=shipped script/test --preset debug --no-build --jobs 24 --only daemon ;;
        # Each of these tests has to fail, many of them by their time limit.
        differences) env ZEPHRAN_OPTIONS=differences ZEPHRAN_TIMEOUT=60 script/test --preset debug --no-build --jobs 12 \
            --only daemon ;;
        openwrt-libraries)
            script/openwrt-libraries || return
            env "ZEPHRAN_POWER_CUT_STEP=${power_cut_step[openwrt]}" script/test --preset openwrt --no-build --jobs 24 \
                --only unit --only devkit --only daemon
            ;;
        packaging | web | acceptance) script/test --preset debug --no-build --jobs 24 --only "$1" ;;
        # The results of a longer run, which script/prove goes on with, are kept elsewhere.
        prove-*) nice script/prove --again --results build/prove-sample --seconds "$preset" ;;
        acceptance-hawkbit) env "ZEPHRAN_BUILD_DIR=$project_dir/build/debug" script/acceptance ;;
        fleet) nice script/fleet --check ;;
        unit-*) nice script/test --preset "$preset" --no-build --only unit ;;
        fuzzing) nice script/fuzz --seconds "$ZEPHRAN_FUZZ_SECONDS" ;;
        # The static analysis gives clang's warnings for the tests.
        clang) nice script/build clang --target zephran -DCMAKE_COMPILE_WARNING_AS_ERROR=ON ;;
        compilers) nice script/compilers ;;
        sdk) env ZEPHRAN_SDK_BUILD=1 nice script/test --preset debug --no-build --jobs 2 --only packaging \
            -k test_sdk_build ;;
        size) nice script/size ;;
        lint) nice script/lint ;;
        *) die "no step named $1" ;;
    esac
}

# The commit that is tested. There is none if files differ from it, or if it changes while the steps run.
current_commit() {
    if [ -n "$(git status --porcelain)" ]; then echo none; else git rev-parse HEAD; fi
}
tested_commit=$(current_commit)

# count_tests LOG: the counts of script/test's summary, or else those of pytest, in one line
count_tests() {
    local counts
    counts=$(sed '0,/^== summary/d' "$1" | awk '{ part = $1; $1 = $2 = ""; print part $0 }')
    [ -n "$counts" ] || counts=$(grep -E '^[0-9]+ (passed|failed).* in [0-9.]+s' "$1") || return 0
    tr -s ' ' <<<"$counts" | sed 's/ in [0-9.]*s.*//' | paste -s -d ';' | sed 's/;/; /g'
}

# keep_result STEP STATUS SECONDS
keep_result() {
    local log=$step_dir/$1.log result=ok text
    case $2 in
        0) text=$(count_tests "$log") ;;
        "$skipped_status") result=skipped; text=$(grep . "$log" | tail -n 1 | sed 's/^== //') ;;
        *) result=FAILED; text="exit status $2; $(count_tests "$log")" ;;
    esac
    [ "$(current_commit)" = "$tested_commit" ] || tested_commit=none
    text=${text%; }
    printf '%s\t%s\t%s\t%s\n' "$result" "$3" "${text:--}" "$tested_commit" >"$step_dir/$1.result"
}

# perform STEP SECONDS: runs the step's command. SECONDS is what its preparation took.
perform() {
    local name=$1 started=$SECONDS status=0
    run_step "$name" 2>&1 | tee -a "$step_dir/$name.log" || status=$?
    keep_result "$name" "$status" $((SECONDS - started + $2))
}

# start_step COMMAND STEP: prepares the step, then hands it to COMMAND, which is perform or perform_in_background
start_step() {
    local name=$2 started=$SECONDS status=0
    say "step $name"
    rm -f "$step_dir/$name.result"
    prepare_step "$name" 2>&1 | tee "$step_dir/$name.log" || status=$?
    if [ "$status" -ne 0 ]; then
        keep_result "$name" "$status" $((SECONDS - started))
    else
        "$1" "$name" $((SECONDS - started))
    fi
}

# Tests in the background wait for a daemon. Two such steps at once would delay each other.
perform_in_background() {
    say "step $1 continues in the background"
    # A process group of its own can be ended as a whole.
    set -m
    (
        exec 9>"$step_dir/one-at-a-time"
        flock 9
        # A process that a test leaves behind must not keep the lock.
        perform "$@" 9>&- >/dev/null
    ) </dev/null &
    background_groups+=("$!")
    set +m
}

background_groups=()
end_background_steps() {
    local group
    for group in "${background_groups[@]}"; do
        kill -TERM -- "-$group" 2>/dev/null || true
    done
}

# contains WORD WORD ...: whether the first word is one of the others
contains() {
    local wanted=$1 word
    shift
    for word in "$@"; do
        [ "$word" != "$wanted" ] || return 0
    done
    return 1
}

# run_steps STEP ...: runs them in an order that keeps all processors busy
run_steps() {
    local name
    mkdir -p "$step_dir"
    trap end_background_steps EXIT
    ! contains bootstrap "$@" || start_step perform bootstrap
    for name in "${background_steps[@]}"; do
        ! contains "$name" "$@" || start_step perform_in_background "$name"
    done
    for name in "${foreground_steps[@]}"; do
        ! contains "$name" "$@" || start_step perform "$name"
    done
    wait
    trap - EXIT
}

# has_passed STEP: whether its last run was of the same commit and passed
has_passed() {
    local result commit
    [ -f "$step_dir/$1.result" ] || return 1
    IFS=$'\t' read -r result _ _ commit <"$step_dir/$1.result"
    [ "$result" = ok ] && [ "$commit" != none ] && [ "$commit" = "$tested_commit" ]
}

# report_steps STEP ...: the logs of failed steps that ran in the background, then a table. Fails if a step has failed.
report_steps() {
    local name result seconds text status=0
    for name in "$@"; do
        if contains "$name" "${background_steps[@]}" && grep -q '^FAILED' "$step_dir/$name.result"; then
            say "log of $name"
            cat "$step_dir/$name.log"
        fi
    done
    local commit=$tested_commit
    [ "$commit" != none ] || commit="$(git rev-parse HEAD) with changes"
    say "commit $commit, $(nproc) processors, $SECONDS s"
    printf '| %-18s | %-7s | %7s | %s |\n' step result seconds tests
    echo '|--------------------|---------|--------:|-------|'
    for name in "$@"; do
        IFS=$'\t' read -r result seconds text _ <"$step_dir/$name.result"
        [ "$result" != FAILED ] || status=1
        printf '| %-18s | %-7s | %7s | %s |\n' "$name" "$result" "$seconds" "$text"
    done
    return "$status"
}
