# check_trapped.sh OBJDUMP LIBRARY: whether the library was compiled to end at undefined behaviour, that is,
# whether it has an illegal instruction for each place where it may.
set -eu
traps=$("$1" --disassemble --no-show-raw-insn "$2" | grep -c '\<ud2\>' || true)
echo "$traps traps"
[ "$traps" -ge 100 ]
