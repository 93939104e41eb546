#!/usr/bin/env bash
# Installs the build into a staging folder (DESTDIR) as a package would, and checks what a user
# gets: the file list, the desktop entry and metainfo by the real validators, manual pages and
# completion that know every option the programs take, and an installed vestry that runs the
# installed helper. Usage: install_test.sh BUILD_DIR PREFIX
set -uo pipefail
build=$1
prefix=$2
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
failures=0
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }

DESTDIR="$stage" cmake --install "$build" >/dev/null || { echo "FAIL: cmake --install" >&2; exit 1; }
root="$stage$prefix"

expected=(
    bin/vestry
    libexec/vestry/vestry-helper
    share/applications/com.brightmoor.Vestry.desktop
    share/metainfo/com.brightmoor.Vestry.metainfo.xml
    share/icons/hicolor/scalable/apps/com.brightmoor.Vestry.svg
    share/bash-completion/completions/vestry
    share/zsh/vendor-completions/_vestry
    share/fish/vendor_completions.d/vestry.fish
    share/doc/vestry/copyright
    share/doc/vestry/changelog.gz
    share/man/man8/vestry-helper.8.gz
)
subcommands=(list discover prune archive pin unpin restore helper gather-logs)
expected+=(share/man/man1/vestry.1.gz)
for sub in "${subcommands[@]}"; do expected+=("share/man/man1/vestry-$sub.1.gz"); done
if command -v rsvg-convert >/dev/null; then
    for size in 16 22 24 32 48 64 128 256; do
        expected+=("share/icons/hicolor/${size}x${size}/apps/com.brightmoor.Vestry.png")
    done
fi
actual=$(cd "$root" && find . -type f | sed 's|^\./||' | sort)
wanted=$(printf '%s\n' "${expected[@]}" | sort)
[ "$actual" = "$wanted" ] || fail "installed files differ from the expected list:
$(diff <(echo "$wanted") <(echo "$actual"))"
[ -x "$root/libexec/vestry/vestry-helper" ] || fail "the helper is not executable"

desktop-file-validate "$root/share/applications/com.brightmoor.Vestry.desktop" || fail "desktop-file-validate"
appstreamcli validate --no-net "$root/share/metainfo/com.brightmoor.Vestry.metainfo.xml" >/dev/null ||
    fail "appstreamcli validate: $(appstreamcli validate --no-net "$root/share/metainfo/com.brightmoor.Vestry.metainfo.xml")"

# Every option the programs take is in their manual page and in each shell's completion.
page_text() { zcat "$1" | sed 's/\\-/-/g'; }
check_options() { # page help-output
    local page=$1 help=$2 option
    for option in $(grep -o -- '--[a-z][a-z-]*' <<<"$help" | sort -u); do
        [ "$option" = --help ] && continue
        page_text "$root/share/man/$page" | grep -q -- "$option" || fail "$page does not mention $option"
        for completion in bash-completion/completions/vestry zsh/vendor-completions/_vestry \
            fish/vendor_completions.d/vestry.fish; do
            # fish names long options without their dashes: "-l older-than".
            grep -q -- "${option#--}" "$root/share/$completion" || fail "$completion does not offer $option"
        done
    done
}
vestry="$root/bin/vestry"
for sub in "${subcommands[@]}"; do
    help=$("$vestry" "$sub" --help 2>&1)
    [ "$sub" = helper ] && help+=$("$vestry" helper status --help; "$vestry" helper enable clean --help)
    check_options "man1/vestry-$sub.1.gz" "$help"
    grep -q -- "$sub" "$root/share/bash-completion/completions/vestry" || fail "bash completion lacks $sub"
done
for option in $("$root/libexec/vestry/vestry-helper" --help | grep -oE -- ' -{1,2}[a-z][a-z-]*' | sort -u); do
    page_text "$root/share/man/man8/vestry-helper.8.gz" | grep -q -- "$option" || fail "vestry-helper(8) does not mention $option"
done
for page in "$root"/share/man/man*/*.gz; do
    warnings=$(zcat "$page" | LC_ALL=C.UTF-8 groff -man -Tutf8 -ww -z 2>&1)
    [ -z "$warnings" ] || fail "$(basename "$page"): $warnings"
done

# The completion's values, through bash's own completion machinery.
if [ -r /usr/share/bash-completion/bash_completion ]; then
    complete_words() {
        bash -c 'source /usr/share/bash-completion/bash_completion; source "$1"; shift
                 COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}
                 _vestry vestry "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}"; printf "%s\n" "${COMPREPLY[@]}" | sort | xargs' \
            _ "$root/share/bash-completion/completions/vestry" "$@"
    }
    [ "$(complete_words vestry '')" = "archive discover gather-logs helper list pin prune restore unpin" ] ||
        fail "bash: subcommands: $(complete_words vestry '')"
    [ "$(complete_words vestry list --sort '')" = "date name size" ] || fail "bash: --sort values"
    [ "$(complete_words vestry helper enable clean --action a)" = "archive" ] || fail "bash: --action values"
    [ "$(complete_words vestry helper disable '')" = "clean trash" ] || fail "bash: helper disable jobs"
    [ "$(complete_words vestry prune --)" = "--dry-run --help --json --keep --max-size --older-than" ] ||
        fail "bash: prune options: $(complete_words vestry prune --)"
else
    echo "bash-completion is not installed: the completion's behaviour is not checked" >&2
fi

if command -v fish >/dev/null; then
    fish_words() {
        fish -c 'source $argv[1]; complete -C "$argv[2]"' "$root/share/fish/vendor_completions.d/vestry.fish" "$1" |
            cut -f1 | sort | xargs
    }
    [ "$(fish_words 'vestry ')" = "archive discover gather-logs helper list pin prune restore unpin" ] || fail "fish: subcommands"
    [ "$(fish_words 'vestry list --sort ')" = "date name size" ] || fail "fish: --sort values"
    [ "$(fish_words 'vestry helper enable clean --action ')" = "archive trash" ] || fail "fish: --action values"
    [ "$(fish_words 'vestry helper disable ')" = "clean trash" ] || fail "fish: helper disable jobs"
fi
if command -v zsh >/dev/null; then
    zsh -n "$root/share/zsh/vendor-completions/_vestry" || fail "zsh: the completion does not parse"
fi

# The installed vestry installs jobs that run the installed helper, found from where vestry is:
# the staged tree here, "$prefix/libexec/vestry" once the package is unpacked.
home="$stage/home"
mkdir -p "$home/runtime"
env -u DBUS_SESSION_BUS_ADDRESS HOME="$home" XDG_CONFIG_HOME="$home/.config" XDG_RUNTIME_DIR="$home/runtime" \
    XDG_STATE_HOME="$home/.local/state" timeout 20 "$vestry" helper enable trash >/dev/null 2>&1 ||
    fail "vestry helper enable trash"
unit="$home/.config/systemd/user/com.brightmoor.VestryTrashHelper.service"
grep -qxF "ExecStart=\"$root/libexec/vestry/vestry-helper\" \"-trash\"" "$unit" ||
    fail "the trash job does not run the installed helper: $(grep ExecStart "$unit" 2>&1)"

[ "$failures" -eq 0 ] && echo "install test passed"
exit $((failures > 0))
