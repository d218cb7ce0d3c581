#!/bin/sh
# Measures a shared object without its debugging and static symbols, one "name value" a line, in bytes: the file; code,
# constants, data and unset data as they are loaded; run-time relocations in all and by type; how many functions run when
# it is loaded; the libraries that it needs.
#
# measure.sh PREFIX LIBRARY    PREFIX: of the tools' names, empty for the machine's own
set -eu
prefix=$1 library=$2
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT

"${prefix}strip" --strip-all -o "$stripped" "$library"
echo "file $(wc -c <"$stripped")"
"${prefix}size" --format=sysv "$stripped" | awk '
    $1 ~ /^\./ { size[$1] = $2 }
    END {
        code = size[".text"] + size[".plt"] + size[".plt.got"] + size[".init"] + size[".fini"]
        print "text", code
        print "constants", size[".rodata"]
        print "unwinding", size[".eh_frame"] + size[".eh_frame_hdr"] + size[".gcc_except_table"] \
                         + size[".ARM.exidx"] + size[".ARM.extab"]
        print "data", size[".data"] + size[".data.rel.ro"] + size[".got"] + size[".got.plt"]
        print "bss", size[".bss"]
    }'
"${prefix}readelf" --relocs --wide "$stripped" | awk '
    $3 ~ /^R_/ { type[$3]++; all++ }
    END { print "relocations", all + 0; for (name in type) print "relocations." name, type[name] }' | LC_ALL=C sort
# The functions that run at load stand in a table of pointers, whose first leads to the compiler's own registration.
"${prefix}readelf" --sections --wide "$stripped" | awk '
    /Class:/ { next }
    / \.init_array / { for (i = 1; i <= NF; i++) if ($i == ".init_array") { size = $(i + 4); entry = $(i + 5) } }
    END { print "initialisers.bytes", size }' | while read -r _ bytes; do
    pointer=8
    "${prefix}readelf" --file-header "$stripped" | grep -q 'ELF32' && pointer=4
    echo "initialisers $((0x$bytes / pointer - 1))"
done
"${prefix}readelf" --dynamic --wide "$stripped" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/needs \1/p'
