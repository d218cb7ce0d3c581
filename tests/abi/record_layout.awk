# Writes a C program that prints the layout of every public record: its size and alignment, and each field's offset and
# size. The records and fields are read from the public header, so that none is forgotten.
#
# awk -f record_layout.awk qel_api.h
BEGIN {
    print "#include <stddef.h>"
    print "#include <stdio.h>"
    print "#include \"qel_api.h\""
    print "#define RECORD(type) printf(\"%s %zu align %zu\\n\", #type, sizeof(type), _Alignof(type))"
    print "#define FIELD(type, field) \\"
    print "    printf(\"    %s %zu %zu\\n\", #field, offsetof(type, field), sizeof(((type*)0)->field))"
    print "int main(void) {"
}
/^typedef struct/ {
    record = $3
    printf "    RECORD(%s);\n", record
    next
}
/^}/ { record = "" }
record != "" {
    sub(/\/\*.*/, "")
    if (match($0, /[A-Za-z_0-9]+(\[[A-Za-z_0-9]+\])*;/)) {
        field = substr($0, RSTART, RLENGTH)
        sub(/[[;].*/, "", field)
        printf "    FIELD(%s, %s);\n", record, field
    }
}
END {
    print "    return 0;"
    print "}"
}
