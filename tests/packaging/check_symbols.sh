#!/bin/sh
# Fails when the shared library exports a dynamic symbol outside the agreed
# interface: the library's namespaces and C-prefixed classes, the plain C
# names of the converters, UTF-16 C-string functions and hooks, and the
# compiler's own bookkeeping (vtables and type information of those classes).
set -eu
nm_tool=$1
lib=$2
allowed_plain='^(ConvertUTF8toUTF16|ConvertUTF8toUTF32|ConvertUTF16toUTF8|ConvertUTF16toUTF32|ConvertUTF32toUTF16|ConvertUTF32toUTF8|isLegalUTF8Sequence|SizeNeededForUTF16|SizeNeededForUTF8|SizeNeededForUTF32To16|ustrlen|ustrcpy|ustrncpy|ustrcat|ustrncat|ustrcmp|ustrncmp|ustrchr|ustrrchr|ustrstr|ustrspn|ustrcspn|ustrpbrk|umemchr|umemset|tavrin_utils_allocate|tavrin_utils_deallocate|suspendDebugLogging|_init|_fini|_edata|_end|__bss_start)$'
classes='(tavrin::|fts::|std::hash<tavrin::|C[A-Z][A-Za-z]*(::|<| |$)|(Colorize|Random|StringTranslator|StringTableParseError|AutoReleasePool)(::|<| |$)|isudigit\(unsigned short\))'
bookkeeping="^(typeinfo for |typeinfo name for |vtable for |VTT for |construction vtable for .*-in-|guard variable for |non-virtual thunk to |virtual thunk to )?${classes}"
syms=$("$nm_tool" -D --defined-only "$lib" | awk '{ $1=""; $2=""; sub(/^  /, ""); print }')
bad=$(printf '%s\n' "$syms" | while IFS= read -r s; do
  [ -z "$s" ] && continue
  if printf '%s\n' "$s" | grep -Eq "$allowed_plain"; then continue; fi
  d=$(printf '%s\n' "$s" | c++filt)
  if printf '%s\n' "$d" | grep -Eq "$bookkeeping"; then continue; fi
  printf '%s\n' "$d"
done)
required='ConvertUTF8toUTF16 SizeNeededForUTF16 ustrlen tavrin_utils_allocate tavrin_utils_deallocate'
for r in $required; do
  printf '%s\n' "$syms" | grep -qx "$r" || { echo "missing exported symbol: $r"; exit 1; }
done
if printf '%s\n' "$syms" | grep -qx 'isLegalUTF8'; then
  echo "isLegalUTF8 must stay file-local"; exit 1
fi
if [ -n "$bad" ]; then
  echo "unexpected exported symbols:"
  printf '%s\n' "$bad"
  exit 1
fi
echo "exported symbols ok ($(printf '%s\n' "$syms" | wc -l) names)"
