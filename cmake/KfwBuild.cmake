# Flags and helpers of every target.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    # Paths inside the tree count from its root, so that a second clone finds what the first one compiled.
    find_program(ENV_PROGRAM env REQUIRED)
    set(tLauncher ${ENV_PROGRAM} CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${CCACHE_PROGRAM})
    set(CMAKE_C_COMPILER_LAUNCHER ${tLauncher})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${tLauncher})
endif()

# Programs and modules side by side, as in an install, so that each finds the others.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

add_library(kfw_flags INTERFACE)
# Private headers are included by their path from the root, so that each line shows where it reaches.
target_include_directories(kfw_flags INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR})
target_compile_options(kfw_flags INTERFACE
    -Wall -Wextra -Wpedantic $<$<BOOL:${KFW_WERROR}>:-Werror> -Wshadow -Wold-style-cast -Wnon-virtual-dtor -Wcast-align
    -Wunused -Woverloaded-virtual -Wconversion -Wsign-conversion -Wformat=2 -fno-omit-frame-pointer)
# It sees ghosts where much is inlined or instrumented.
if(NOT KFW_SANITIZE)
    target_compile_options(kfw_flags INTERFACE $<$<NOT:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wnull-dereference>)
endif()
# Against attacks, in everything but the tests themselves (tests/security reads it from the built files). Without it only
# to measure what it costs (scripts/bench-hardening).
set(tShipped $<NOT:$<BOOL:$<TARGET_PROPERTY:K_IS_TEST>>>)
if(NOT KFW_HARDENING)
    # Said, since a compiler may have been built to do it unasked.
    target_compile_options(kfw_flags INTERFACE -fno-stack-protector -U_FORTIFY_SOURCE)
    if(NOT WIN32)
        target_compile_options(kfw_flags INTERFACE -fno-stack-clash-protection -fcf-protection=none)
        target_link_options(kfw_flags INTERFACE -Wl,-z,norelro,-z,lazy,-z,noexecstack)
    endif()
elseif(WIN32)
    # What the protector calls is linked in: a library of its own would lie beside every program. Control Flow
    # Guard is not available from GCC.
    target_compile_options(kfw_flags INTERFACE $<${tShipped}:-fstack-protector-strong>)
    target_link_options(kfw_flags INTERFACE -Wl,--dynamicbase,--nxcompat,--high-entropy-va)
    target_link_libraries(kfw_flags INTERFACE -Wl,--push-state,-Bstatic -lssp -Wl,--pop-state)
else()
    target_compile_options(kfw_flags INTERFACE
        "$<${tShipped}:-fstack-protector-strong;-fstack-clash-protection;-fcf-protection=full>")
    target_link_options(kfw_flags INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
    # With sanitizers it would hide calls from them, and it needs an optimising compiler.
    if(NOT KFW_SANITIZE)
        target_compile_options(kfw_flags INTERFACE
            "$<$<AND:${tShipped},$<NOT:$<CONFIG:Debug>>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
    endif()
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Unique symbols would keep a module loaded for ever.
    target_compile_options(kfw_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # What guards what is said in the words of kpr/thread_safety.h.
    target_compile_options(kfw_flags INTERFACE -Wthread-safety)
endif()
if(KFW_BENCH AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # At -O3 it sees overlaps inside std::string that are not there.
    target_compile_options(kfw_flags INTERFACE -Wno-restrict)
endif()
if(KFW_SANITIZE)
    add_compile_options(-fsanitize=${KFW_SANITIZE} -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${KFW_SANITIZE})
endif()
if(KFW_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(KFW_COVERAGE)
    add_compile_options(--coverage)
    add_link_options(--coverage)
endif()

# k_version_script(<target> <map>): on Linux the library exports what the map in the current folder names.
function(k_version_script pTarget pMap)
    if(NOT WIN32)
        target_link_options(${pTarget} PRIVATE -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/${pMap})
        set_property(TARGET ${pTarget} APPEND PROPERTY LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${pMap})
    endif()
endfunction()

# k_library(<name> SOURCES ... MAP <map> [PUBLIC <libraries>] [PRIVATE <libraries>])
# A shared library of the platform with its public headers in <name>/include.
function(k_library pName)
    cmake_parse_arguments(ARG "" "MAP" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${pName} SHARED ${ARG_SOURCES})
    string(TOUPPER ${pName} tUpper)
    target_compile_definitions(${pName} PRIVATE ${tUpper}_BUILD)
    target_include_directories(${pName} PUBLIC
        $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)
    target_link_libraries(${pName} PUBLIC ${ARG_PUBLIC} PRIVATE kfw_flags ${ARG_PRIVATE})
    add_library(kfw::${pName} ALIAS ${pName})
    k_version_script(${pName} ${ARG_MAP})
    if(WIN32)
        set_target_properties(${pName} PROPERTIES PREFIX "")
    else()
        target_link_options(${pName} PRIVATE -Wl,--no-undefined)
        if(KFW_SANITIZE)
            target_link_options(${pName} PRIVATE -Wl,-z,undefs)
        endif()
    endif()
endfunction()

if(WIN32)
    # Nothing is started on a system older than Windows 10 (hosts check more: host_System_win.cpp).
    add_link_options(-Wl,--major-os-version,10,--minor-os-version,0
        -Wl,--major-subsystem-version,10,--minor-subsystem-version,0)
    # Every program carries the manifest (resource type 24, the program's own: number 1), whose text goes into
    # the resource script, so that a change of it is seen.
    enable_language(RC)
    set(tManifest ${CMAKE_CURRENT_LIST_DIR}/program.manifest)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${tManifest})
    file(STRINGS ${tManifest} tLines ENCODING UTF-8)
    set(tScript "1 24\nBEGIN\n")
    foreach(tLine IN LISTS tLines)
        string(REPLACE "\"" "\"\"" tLine "${tLine}")
        string(APPEND tScript "    \"${tLine}\\n\"\n")
    endforeach()
    set(K_MANIFEST ${CMAKE_BINARY_DIR}/manifest.rc)
    file(CONFIGURE OUTPUT ${K_MANIFEST} CONTENT "${tScript}END\n" @ONLY)
    target_sources(kfw_flags INTERFACE
        $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:${K_MANIFEST}>)
endif()
