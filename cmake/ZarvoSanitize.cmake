# Instrumentation of the whole tree. ZARVO_SANITIZE: AddressSanitizer (leaks
# included) and UndefinedBehaviorSanitizer for the test suite. ZARVO_FUZZ:
# libFuzzer's coverage on top of both, for the targets of fuzz/. One clang
# tree may have both, so that CI compiles the instrumented code once for the
# suite and the fuzzers.

if(NOT ZARVO_SANITIZE AND NOT ZARVO_FUZZ)
    return()
endif()

# A finding stops the process: undefined behaviour fails its test or fuzz
# run instead of scrolling past in a log nobody reads.
set(ZARVO_SANITIZE_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Qt itself is not instrumented: its calls through function pointers and
    # its objects' dynamic types would be reported falsely.
    list(APPEND ZARVO_SANITIZE_FLAGS -fno-sanitize=function,vptr)
endif()

if(ZARVO_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "ZARVO_FUZZ needs clang (CXX=clang++)")
    endif()
    list(APPEND ZARVO_SANITIZE_FLAGS -fsanitize=fuzzer-no-link)
endif()

add_compile_options(${ZARVO_SANITIZE_FLAGS})
add_link_options(-fsanitize=address,undefined)
