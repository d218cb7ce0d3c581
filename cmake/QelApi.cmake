# The library: one set of objects, from which the shared object is linked and which the unit tests link to reach the
# inside. Only the functions listed in api/exports.map leave the shared object.
add_library(qel_core OBJECT
    common/client_name.cpp
    common/debug_log.cpp
    common/descriptor_limit.cpp
    common/log_library.cpp
    common/module_path.cpp
    common/sem.cpp
    common/service_thread.cpp
    common/th_lock.cpp
    tlv/ops_tlv.cpp
    session/connection.cpp
    session/message_queue.cpp
    session/receiver.cpp
    session/reply_slot.cpp
    session/session.cpp
    session/socket.cpp
    session/state.cpp
    api/cellular.cpp
    api/cli.cpp
    api/cli_script.cpp
    api/event.cpp
    api/event_handles.cpp
    api/event_registry.cpp
    api/globals.cpp
    api/lifecycle.cpp
    api/memory.cpp
    api/operation.cpp
    api/query.cpp
    api/query_cellular.cpp
    api/query_device.cpp
    api/query_location.cpp
    api/query_voice.cpp
    api/session.cpp
    api/snmp.cpp
    api/subscriptions.cpp
    api/syslog.cpp
    api/wlan_create.cpp
    api/wlan_delete.cpp)
target_compile_features(qel_core PUBLIC cxx_std_17)
target_include_directories(qel_core PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(qel_core PRIVATE qel_warnings)
set_target_properties(qel_core PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
# Wide times on every target, so that the 60-second limit is right after 2038 on 32 bits too.
target_compile_definitions(qel_core PRIVATE _TIME_BITS=64 _FILE_OFFSET_BITS=64)

# A release is small rather than fast: nine tenths of a round trip are the kernel's. docs/footprint.md has the figures.
# Link-time optimisation is GCC's. On ARM it must not be: what GCC then puts at the end of a destructor's cleanup lets the
# C++ runtime lose count, and a thread that is cancelled ends the process. The objects also hold plain code: the unit tests
# replace single functions when they are linked, which only that allows.
set(qel_lto OFF)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    set(qel_lto ON)
endif()
target_compile_options(qel_core PRIVATE
    $<$<CONFIG:Release>:-Os -ffunction-sections -fdata-sections>
    $<$<AND:$<CONFIG:Release>,$<BOOL:${qel_lto}>>:-flto=auto -ffat-lto-objects>)

find_package(Threads REQUIRED)

if(QEL_VELALOG_LIBRARY)
    if(NOT EXISTS "${QEL_VELALOG_LIBRARY}")
        message(FATAL_ERROR "QEL_VELALOG_LIBRARY names '${QEL_VELALOG_LIBRARY}', which does not exist")
    endif()
    set(qel_velalog "${QEL_VELALOG_LIBRARY}")
else()
    set(qel_velalog velalog_standin)
endif()

add_library(qel_api SHARED)
target_link_libraries(qel_api PRIVATE qel_core ${qel_velalog} Threads::Threads)
add_library(qel_api::qel_api ALIAS qel_api)
target_include_directories(qel_api INTERFACE ${PROJECT_SOURCE_DIR}/include)
set_target_properties(qel_api PROPERTIES
    VERSION ${QEL_FILE_VERSION}
    SOVERSION ${QEL_SOVERSION}
    LINK_DEPENDS ${PROJECT_SOURCE_DIR}/api/exports.map)
# nodelete: the library's threads are detached and end at their next wait, which an unload would not wait for.
target_link_options(qel_api PRIVATE
    -Wl,--version-script=${PROJECT_SOURCE_DIR}/api/exports.map
    -Wl,-z,nodelete -Wl,-z,relro -Wl,-z,now -Wl,--as-needed)
# Code and constants in one segment: a page less of padding, on targets where the linker would separate them.
target_link_options(qel_api PRIVATE
    $<$<CONFIG:Release>:-Os -Wl,--gc-sections -Wl,-z,noseparate-code>
    $<$<AND:$<CONFIG:Release>,$<BOOL:${qel_lto}>>:-flto=auto>)
if(NOT QEL_SANITIZE)
    target_link_options(qel_api PRIVATE -Wl,--no-undefined)
endif()
