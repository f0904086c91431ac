# check_trapped.sh OBJDUMP LIBRARY: fails unless the library was compiled with traps for undefined behaviour
# (ud2 instructions).
set -eu
traps=$("$1" --disassemble --no-show-raw-insn "$2" | grep -c '\<ud2\>' || true)
echo "$traps traps"
[ "$traps" -ge 100 ]
