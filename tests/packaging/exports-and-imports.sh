#!/usr/bin/env bash
# exports-and-imports.sh MAP LIBRARY BASE: the library exports exactly what the version script names,
# every class and function of it; it imports the base services, and nothing else beside the run-time
# libraries; it neither loads the embedded base nor defines any of its symbols.
set -euo pipefail
map=$1 library=$2 base=$3

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# Names without version suffixes, sorted.
defined() { nm -DC --defined-only "$1" | cut -c20- | sed 's/@.*//' | sort -u; }
undefined() { nm -DC --undefined-only "$1" | cut -c20- | sort -u; }

# The version's own name is listed beside the symbols.
exported=$(defined "$library" | grep -v '^QUENDRIL_1$')
named=$(sed -n 's/^ *"\(.*\)";$/\1/p' "$map" | sort -u)
difference=$(diff <(echo "$named") <(echo "$exported")) || fail "not as $map says:
$difference"

classes=$(echo "$exported" | grep -oE '^[A-Za-z]+' | grep -vE '^(typeinfo|vtable)$' | sort -u | xargs)
expected="ASNCreateLockName CQuasiStructFile CommonContInfoFileCreater CommonContInfoList ContainerInfo \
ContainerInfoEdit ContainerInfoItrMgr ContainerInfoList QuasiStructBuffer QuasiStructFileBase SubContInfo"
[ "$classes" = "$(echo "$expected" | xargs -n1 | sort | xargs)" ] || fail "exported: $classes"

needed=$(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
echo "The library needs:" $needed
if echo "$needed" | grep -vE '^(libstdc\+\+|libgcc_s|libc|libm|ld-linux-x86-64|libboost_thread|libasan|libubsan|libtsan)\.so'; then
  fail "a dependency that was not foreseen"
fi

# What the library asks of others and no run-time library gives by a version of its own.
services=$(undefined "$library" | grep -vE '@|^(_ITM_|__cxa_finalize|__gmon_start__|__asan_|__ubsan_|__tsan_|__sanitizer_)')
offered=$(defined "$base")
unknown=$(comm -23 <(echo "$services") <(echo "$offered"))
[ -z "$unknown" ] || fail "imported from nowhere:
$unknown"
own=$(comm -12 <(echo "$exported") <(echo "$offered"))
[ -z "$own" ] || fail "defined by both:
$own"
echo "$(echo "$exported" | wc -l) symbols out, $(echo "$services" | wc -l) base services in."
