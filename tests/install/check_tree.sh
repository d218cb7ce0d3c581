#!/bin/sh
# The installed tree: the library with its names, headers, descriptions for build systems, manual pages, examples, the
# tool and the simulator with their completions, the Python package. The stand-in for the log library lies in the simulator's own directory
# and nowhere else, and nothing leads back to the build.
. "$(dirname "$0")/install.sh"

install_into "$work/root"
cd "$work/root"

there() {
    for pattern in "$@"; do
        [ -n "$(find . -path "$pattern")" ] || fail "not installed: $pattern"
    done
}
there './lib/*libqel_api.so.2.0' './lib/*libqel_api.so.2' './lib/*libqel_api.so' ./include/qel_api.h \
    './lib/*pkgconfig/qel_api.pc' './lib/*cmake/qel_api/qel_api-config.cmake' \
    './lib/*cmake/qel_api/qel_api-config-version.cmake' ./share/man/man7/qel_api.7
for program in qel qel-sim; do
    there "./bin/$program" "./share/man/man1/$program.1" "./share/bash-completion/completions/$program"
done
for source in "$SOURCE"/examples/*.c "$SOURCE"/examples/*.cpp; do
    there "./share/doc/*/examples/$(basename "$source")"
done
for page in "$SOURCE"/man/man3/*; do
    there "./share/man/man3/$(basename "$page")"
done

for module in "$SOURCE"/bindings/python/qel_api/*.py "$SOURCE"/bindings/python/qel_api/py.typed; do
    there "./lib/python3/dist-packages/qel_api/$(basename "$module")"
done

library=$(find . -name libqel_api.so.2.0)
link=$(find . -name libqel_api.so)
[ "$link" -ef "$library" ] || fail "$link does not lead to $library"
standins=$(find . -name '*VelaLogAPI*')
case $standins in
./lib/*qel-sim/libVelaLogAPI.so) ;;
*) fail "the stand-in lies at: $standins" ;;
esac
if readelf --dynamic "$library" bin/qel bin/qel-sim | grep -E 'RPATH|RUNPATH'; then
    fail "a library is looked for at the build's paths"
fi
