#!/usr/bin/env bash
# Checks that the engine is built as a stack of floors: a file may include
# headers of its own folder and of the floors below it, never of a floor above
# nor of a sibling on the same floor. Prints every offending include and
# exits 1 when there is one. Usage: scripts/check_layers.sh [SOURCE_DIR]
#
#   Targets                 6
#   Osc   Dsp               5
#   RunTime                 4
#   Parser   Listening      3
#   Tree                    2
#   Exp                     1
#   Base                    0
set -euo pipefail
root=${1:-$(cd "$(dirname "$0")/.." && pwd)}

floor_of() {
    case $1 in
    Base) echo 0 ;;
    Exp) echo 1 ;;
    Tree) echo 2 ;;
    Parser | Listening) echo 3 ;;
    RunTime) echo 4 ;;
    Osc | Dsp) echo 5 ;;
    Targets) echo 6 ;;
    *) echo -1 ;;
    esac
}

# Unit tests sit on the floor of what they test.
test_floor_of() {
    case $1 in
    exp) echo Exp ;;
    tree) echo Tree ;;
    parser) echo Parser ;;
    listening) echo Listening ;;
    follow | runtime | scheduler | audio) echo RunTime ;;
    osc) echo Osc ;;
    *) echo Targets ;;
    esac
}

status=0
check_file() {
    local file=$1 folder=$2
    local own
    own=$(floor_of "$folder")
    while IFS= read -r line; do
        local target=${line#*\"}
        target=${target%%/*}
        local floor
        floor=$(floor_of "$target")
        [ "$floor" -lt 0 ] && continue
        [ "$target" = "$folder" ] && continue
        if [ "$floor" -ge "$own" ]; then
            echo "layers: ${file#"$root"/} ($folder) includes $target: ${line}"
            status=1
        fi
    done < <(grep -h '^[[:space:]]*#[[:space:]]*include[[:space:]]*"[A-Za-z]*/' "$file" || true)
}

while IFS= read -r file; do
    rel=${file#"$root"/Src/}
    check_file "$file" "${rel%%/*}"
done < <(find "$root/Src" -type f \( -name '*.cpp' -o -name '*.hpp' -o -name '*.yy' -o -name '*.ll' \))

if [ -d "$root/tests/unit" ]; then
    while IFS= read -r file; do
        rel=${file#"$root"/tests/unit/}
        check_file "$file" "$(test_floor_of "${rel%%/*}")"
    done < <(find "$root/tests/unit" -type f \( -name '*.cpp' -o -name '*.hpp' \))
fi

[ $status -eq 0 ] && echo "layers: every include goes down"
exit $status
