# What volume a test runs on.
if(WIN32)
    add_library(kpr_volume_facts STATIC EXCLUDE_FROM_ALL testing/kpr_volume_facts_win.cpp)
    target_include_directories(kpr_volume_facts PUBLIC include)
    target_link_libraries(kpr_volume_facts PRIVATE kfw_flags)
else()
    add_library(kpr_volume_facts INTERFACE)
endif()

# Scratch folders and child processes for the tests of every layer.
add_library(kpr_testing STATIC EXCLUDE_FROM_ALL testing/kpr_testing.cpp)
target_link_libraries(kpr_testing PUBLIC kpr kpr_volume_facts PRIVATE kfw_flags)

# Linked into a test program, makes its calls of kpr fail where the strictest Windows would.
add_library(kpr_strict STATIC EXCLUDE_FROM_ALL testing/kpr_strict.cpp)
# The linker takes the platform libraries' own references for wrapped ones and wants to see their targets.
set_target_properties(kpr_strict PROPERTIES CXX_VISIBILITY_PRESET default)
target_link_libraries(kpr_strict PUBLIC kpr PRIVATE kfw_flags)
foreach(tFunction OpenFile CloseFile Read Write SeekAndRead SeekAndWrite LockFile UnlockFile RemoveFile MoveFile
        ReplaceFile GetFileInfo)
    target_link_options(kpr_strict INTERFACE -Wl,--wrap=kpr${tFunction})
endforeach()

# Modules to load: one that speaks for itself, one that does so with its ids, one that refuses to, one that
# leaves that to its file, one that needs another.
set(tModules)
# k_kpr_module(<name> [...]): a k_test_module from kpr_test_module.cpp with a build id of its own.
function(k_kpr_module pName)
    k_test_module(kpr_test_${pName} SOURCES testing/kpr_test_module.cpp LINKABLE ${ARGN})
    target_link_options(kpr_test_${pName} PRIVATE -Wl,--build-id=0x0123456789abcdef0123456789abcdef)
    set(tModules ${tModules} kpr_test_${pName} PARENT_SCOPE)
endfunction()
k_kpr_module(module DEFINES KPR_TEST_ATTRIBUTES)
k_kpr_module(identified DEFINES KPR_TEST_IDENTIFIED)
k_kpr_module(refusing DEFINES KPR_TEST_REFUSES)
k_kpr_module(plain)
k_kpr_module(needing DEFINES KPR_TEST_NEEDS_OTHER LIBRARIES kpr_test_module)
# A library and one that needs it, out of the programs' folder: tests lay them out.
k_kpr_module(planted FOLDER planted DEFINES KPR_TEST_ATTRIBUTES)
k_kpr_module(needs_planted FOLDER planted DEFINES KPR_TEST_NEEDS_OTHER LIBRARIES kpr_test_planted)
if(NOT WIN32)
    k_kpr_module(notes DEFINES KPR_TEST_NOTES)
    # Its addresses do not begin at 0.
    target_link_options(kpr_test_notes PRIVATE -Wl,-Ttext-segment=0x400000)
endif()
if(WIN32)
    enable_language(RC)
    target_sources(kpr_test_plain PRIVATE testing/kpr_test_module.rc)
else()
    set_target_properties(kpr_test_plain PROPERTIES VERSION 5.6.7 SOVERSION 5)
endif()

k_test(kpr_error_test SOURCES kpr_error_test.cpp kpr_error_${tSuffix}.cpp LIBRARIES kpr)
foreach(tSubject child file rename lock dir path pathtext md5 thread process)
    k_test(kpr_${tSubject}_test SOURCES kpr_${tSubject}_test.cpp LIBRARIES kpr_testing)
endforeach()
if(WIN32)
    set(tSystemTests kpr_dso_win_test.cpp)
else()
    set(tSystemTests kpr_dso_linux_test.cpp)
endif()
k_test(kpr_dso_test SOURCES kpr_dso_test.cpp ${tSystemTests} LIBRARIES kpr_testing)
add_dependencies(kpr_dso_test ${tModules})
k_knows_version(kpr_dso_test kpr_dso_test.cpp)
k_test(kpr_debug_id_test SOURCES kpr_debug_id_test.cpp kpr_debug_id.cpp)
k_test(kpr_version_resource_test SOURCES kpr_version_resource_test.cpp kpr_version_resource.cpp LIBRARIES kpr)
# With the source of its subject, so that its numbers and its opening of files can be the test's.
k_test(kpr_temp_test SOURCES kpr_temp_test.cpp kpr_temp.cpp LIBRARIES kpr_testing WRAP kprGetCurrentTime kprOpenFile)
target_compile_definitions(kpr_temp_test PRIVATE KPR_BUILD)
k_test(kpr_strict_test SOURCES kpr_strict_test.cpp LIBRARIES kpr_testing kpr_strict)
if(WIN32)
    # With kpr's own sources, so that its calls of the system can be made to fail.
    k_test(kpr_modulelist_test SOURCES kpr_modulelist_win_test.cpp ${tSources} LIBRARIES ${tLibraries}
        WRAP K32EnumProcessModules K32GetModuleInformation)
    # These are imported through pointers, and the pointers are what is wrapped.
    set(tCalls CreateFileW DeleteFileW MoveFileExW SetFileInformationByHandle LockFileEx CreateDirectoryW
        RemoveDirectoryW GetFileAttributesW GetFileAttributesExW SetEndOfFile Sleep ReadFile WriteFile)
    list(TRANSFORM tCalls PREPEND __imp_)
    k_test(kpr_faults_test SOURCES kpr_faults_win_test.cpp kpr_transfer_win_test.cpp testing/kpr_testing.cpp ${tSources}
        LIBRARIES ${tLibraries} WRAP ${tCalls})
    k_test(kpr_stream_test SOURCES kpr_stream_win_test.cpp ${tSources} LIBRARIES ${tLibraries}
        WRAP __imp_GetConsoleMode __imp_WriteConsoleW)
    k_test(kpr_names_test SOURCES kpr_names_win_test.cpp testing/kpr_testing.cpp ${tSources}
        LIBRARIES ${tLibraries})
    k_test(kpr_links_test SOURCES kpr_links_win_test.cpp testing/kpr_testing.cpp ${tSources}
        LIBRARIES ${tLibraries}
        WRAP __imp_GetFileInformationByHandleEx __imp_GetFileInformationByHandle __imp_CreateFileW __imp_GetSecurityInfo
            __imp_GetFileAttributesW __imp_FindFirstFileW)
    # Linked into a test program, shows it the files of other volumes (testing/kpr_volume_win.h). It has kpr's own
    # sources in it, whose calls of the system are wrapped.
    add_library(kpr_volume OBJECT EXCLUDE_FROM_ALL testing/kpr_volume_win.cpp ${tSources})
    target_include_directories(kpr_volume PUBLIC include)
    target_compile_definitions(kpr_volume PRIVATE KPR_BUILD)
    target_link_libraries(kpr_volume PUBLIC ${tLibraries} PRIVATE kfw_flags)
    foreach(tCall CreateFileW ReadFile WriteFile SetFileInformationByHandle GetFileAttributesExW GetFileInformationByHandle
            GetFileInformationByHandleEx FindFirstFileW FindFirstFileExW FindNextFileW SetFileTime LockFileEx
            GetFinalPathNameByHandleW GetVolumeInformationByHandleW GetSecurityInfo)
        target_link_options(kpr_volume INTERFACE -Wl,--wrap=__imp_${tCall})
    endforeach()
    k_test(kpr_volumes_test SOURCES kpr_volumes_win_test.cpp testing/kpr_testing.cpp LIBRARIES kpr_volume)
    # What the bundle for a real Windows runs on a FAT32 image has to pass there.
    k_test(kpr_on_fat_test SOURCES kpr_dir_test.cpp kpr_file_test.cpp kpr_lock_test.cpp kpr_lock_win_test.cpp
            kpr_rename_test.cpp kpr_trust_win_test.cpp testing/kpr_on_fat_win.cpp testing/kpr_testing.cpp
        LIBRARIES kpr_volume kpr_volume_facts advapi32)
    foreach(tTest kpr_modulelist_test kpr_faults_test kpr_names_test kpr_stream_test kpr_links_test)
        target_include_directories(${tTest} PRIVATE include)
        target_compile_definitions(${tTest} PRIVATE KPR_BUILD)
    endforeach()
    target_sources(kpr_file_test PRIVATE kpr_trust_win_test.cpp)
    target_sources(kpr_lock_test PRIVATE kpr_lock_win_test.cpp)
    target_sources(kpr_dir_test PRIVATE kpr_dir_win_test.cpp)
    k_test(kpr_commandline_test SOURCES kpr_commandline_win_test.cpp kpr_commandline_win.cpp LIBRARIES shell32)
    target_link_libraries(kpr_file_test PRIVATE advapi32)
else()
    k_test(kpr_windows_pathtext_test SOURCES kpr_pathtext_test.cpp kpr_path.cpp LIBRARIES kpr)
    target_compile_definitions(kpr_windows_pathtext_test PRIVATE KPR_WINDOWS_PATHS)
    # With kpr's own sources, so that its system calls can be made to fail.
    k_test(kpr_posix_test SOURCES kpr_dir_posix_test.cpp kpr_file_posix_test.cpp kpr_process_posix_test.cpp
            kpr_rights_posix_test.cpp testing/kpr_faults_posix.cpp testing/kpr_testing.cpp ${tSources}
        LIBRARIES ${tLibraries} WRAP kprOpenFile renameat2 link unlink read write readdir secure_getenv getauxval
            calloc dlinfo)
    add_dependencies(kpr_posix_test ${tModules})
    k_test(kpr_child_posix_test SOURCES kpr_child_posix_test.cpp kpr_child_posix.cpp kpr_error_posix.cpp
        LIBRARIES kpr WRAP kprGetMonotonicTime kprSleep waitpid)
    k_test(kpr_interrupted_test SOURCES kpr_interrupted_posix_test.cpp testing/kpr_testing.cpp
            ${tSources}
        LIBRARIES ${tLibraries} WRAP open close read write pread pwrite fsync fcntl clock_nanosleep)
    foreach(tTest kpr_posix_test kpr_interrupted_test)
        target_include_directories(${tTest} PRIVATE include)
    endforeach()
endif()

k_exports_test(kpr kpr)
k_test(kpr_map_test SOURCES kpr_map_test.cpp LIBRARIES kpr)
