# QEL_SANITIZE=address adds ASan (with its leak checker) and UBSan, QEL_SANITIZE=thread adds TSan, to everything built;
# QEL_SANITIZE=fuzzer adds what address does and the branch counts that Clang's fuzzer steers by.
set(QEL_SANITIZE "" CACHE STRING "empty, address (ASan and UBSan), thread (TSan) or fuzzer (ASan, UBSan and counts)")
set_property(CACHE QEL_SANITIZE PROPERTY STRINGS "" address thread fuzzer)

if(QEL_SANITIZE STREQUAL "address")
    set(qel_sanitize_flags -fsanitize=address,undefined -fno-sanitize-recover=all)
elseif(QEL_SANITIZE STREQUAL "thread")
    set(qel_sanitize_flags -fsanitize=thread)
elseif(QEL_SANITIZE STREQUAL "fuzzer")
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "QEL_SANITIZE=fuzzer needs Clang; this compiler is ${CMAKE_CXX_COMPILER_ID}")
    endif()
    set(qel_sanitize_flags -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all)
elseif(NOT QEL_SANITIZE STREQUAL "")
    message(FATAL_ERROR "QEL_SANITIZE is '${QEL_SANITIZE}'; it takes nothing, address, thread or fuzzer")
endif()

if(qel_sanitize_flags)
    add_compile_options(${qel_sanitize_flags} -fno-omit-frame-pointer)
    # Between the sanitizers' checks GCC loses sight of what its own <regex> has initialised.
    add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-maybe-uninitialized>)
    add_link_options(${qel_sanitize_flags})
endif()
