# Tests: one GoogleTest program per subject, the same source on every target.

set(INSTALL_GTEST OFF)
set(BUILD_GMOCK ON)
set(gtest_disable_pthreads OFF)
find_path(KFW_GOOGLETEST_DIR googletest/src/gtest-all.cc PATHS /usr/src/googletest NO_CMAKE_FIND_ROOT_PATH REQUIRED
    DOC "The sources of GoogleTest, compiled for each target")
# A DLL on Windows: MinGW's linker takes two seconds for each program that has GoogleTest inside, a tenth with the DLL.
set(BUILD_SHARED_LIBS ${WIN32})
add_subdirectory(${KFW_GOOGLETEST_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
unset(BUILD_SHARED_LIBS)
foreach(tLibrary gtest gtest_main gmock gmock_main)
    target_compile_options(${tLibrary} PRIVATE $<$<NOT:$<CONFIG:Release>>:-O0>)
endforeach()

# GNU's linker takes three times as long as LLD for the many programs; what ships is linked with the compiler's own.
if(NOT WIN32)
    find_program(KFW_TEST_LINKER ld.lld)
endif()

set(KFW_TEST_RESULTS ${CMAKE_BINARY_DIR}/test-results)
file(MAKE_DIRECTORY ${KFW_TEST_RESULTS})

# k_test(<name> SOURCES ... [LIBRARIES ...] [WRAP <function>...] [TIMEOUT <seconds>] [COST <seconds>] [COMPUTES]
#     [ARGUMENTS ...])
# A test program that ctest runs (through Wine when cross compiling). WRAP sends the program's own calls of
# those C functions to __wrap_<function>. COMPUTES: the test itself is worth optimising. Each run leaves its counts in
# test-results/<name>.json.
function(k_test pName)
    cmake_parse_arguments(ARG "COMPUTES" "TIMEOUT;COST" "SOURCES;LIBRARIES;WRAP;ARGUMENTS" ${ARGN})
    add_executable(${pName} ${ARG_SOURCES})
    target_link_libraries(${pName} PRIVATE ${ARG_LIBRARIES} kfw_flags GTest::gmock_main)
    # What is tested is optimised, what tests it need not be: half the time of compiling.
    if(NOT ARG_COMPUTES)
        target_compile_options(${pName} PRIVATE $<$<NOT:$<CONFIG:Release>>:-O0>)
    endif()
    if(KFW_TEST_LINKER)
        target_link_options(${pName} PRIVATE -fuse-ld=lld)
    endif()
    set_target_properties(${pName} PROPERTIES K_IS_TEST ON)
    foreach(tFunction ${ARG_WRAP})
        target_link_options(${pName} PRIVATE -Wl,--wrap=${tFunction})
    endforeach()
    add_test(NAME ${pName}
        COMMAND ${pName} --gtest_output=json:../test-results/${pName}.json ${ARG_ARGUMENTS}
        WORKING_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 300)
    endif()
    if(NOT ARG_COST)
        set(ARG_COST 1)
    endif()
    # Those that take longest are started first.
    set_tests_properties(${pName} PROPERTIES TIMEOUT ${ARG_TIMEOUT} COST ${ARG_COST})
endfunction()

# k_test_module(<target> SOURCES ... [LIBRARIES ...] [DEFINES ...] [FOLDER <folder>] [FILE <name>] [LINKABLE])
# A module that tests load: in bin, or in that folder of it; FILE is the name of its file, otherwise it is that of a
# library called <target>. It sees the headers of kpr and links what LIBRARIES name. LINKABLE: others may link it.
function(k_test_module pName)
    cmake_parse_arguments(ARG "LINKABLE" "FOLDER;FILE" "SOURCES;LIBRARIES;DEFINES" ${ARGN})
    set(tKind MODULE)
    if(ARG_LINKABLE)
        set(tKind SHARED)
    endif()
    add_library(${pName} ${tKind} ${ARG_SOURCES})
    target_compile_definitions(${pName} PRIVATE ${ARG_DEFINES})
    target_include_directories(${pName} PRIVATE ${PROJECT_SOURCE_DIR}/kpr/include)
    target_link_libraries(${pName} PRIVATE ${ARG_LIBRARIES} kfw_flags)
    set(tFolder ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${ARG_FOLDER})
    set_target_properties(${pName} PROPERTIES PREFIX "${CMAKE_SHARED_LIBRARY_PREFIX}"
        LIBRARY_OUTPUT_DIRECTORY ${tFolder} RUNTIME_OUTPUT_DIRECTORY ${tFolder})
    if(WIN32)
        set_target_properties(${pName} PROPERTIES PREFIX "")
    endif()
    if(ARG_FILE)
        get_filename_component(tName ${ARG_FILE} NAME_WLE)
        get_filename_component(tSuffix ${ARG_FILE} LAST_EXT)
        set_target_properties(${pName} PROPERTIES PREFIX "" OUTPUT_NAME ${tName} SUFFIX "${tSuffix}")
    endif()
endfunction()

# k_exports_test(<target> <list>): the built library exports exactly the functions of abi/exports/<list>.txt.
function(k_exports_test pTarget pList)
    add_test(NAME ${pTarget}_exports_test COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:${pTarget}>
        -DLIST=${PROJECT_SOURCE_DIR}/abi/exports/${pList}.txt -DWINDOWS=${WIN32}
        -DNM=${CMAKE_NM} -DOBJDUMP=${CMAKE_OBJDUMP} -P ${PROJECT_SOURCE_DIR}/abi/check_exports.cmake)
endfunction()
