# The compiler's run-time libraries on Windows, under names of our own (windows_run_time.py tells why): they lie beside the
# programs, and everything that is built here is linked to them.
if(NOT WIN32)
    return()
endif()

find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(KFW_RUN_TIME kosstdc++-6.dll kosgcc_s_seh-1.dll koswinpthread-1.dll)
set(KFW_COMPILERS_RUN_TIME libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
set(tScript ${CMAKE_CURRENT_LIST_DIR}/windows_run_time.py)
set(tImports ${CMAKE_BINARY_DIR}/run-time)
execute_process(COMMAND ${Python3_EXECUTABLE} ${tScript} --compiler ${CMAKE_CXX_COMPILER}
    --libraries ${CMAKE_RUNTIME_OUTPUT_DIRECTORY} --imports ${tImports} COMMAND_ERROR_IS_FATAL ANY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${tScript})
# Folders that are named come before those that the compiler knows.
add_link_options(-L${tImports})

# Where a build of an earlier state has left them.
list(TRANSFORM KFW_COMPILERS_RUN_TIME PREPEND ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/ OUTPUT_VARIABLE tLeft)
file(REMOVE ${tLeft})

# What they are licensed under goes with them.
set(tLicences ${CMAKE_BINARY_DIR}/share/doc/kfw/run-time)
configure_file(${CMAKE_CURRENT_LIST_DIR}/run-time-licences.txt ${tLicences}/README.txt COPYONLY)
configure_file(/usr/share/doc/gcc-mingw-w64-base/copyright ${tLicences}/gcc.txt COPYONLY)
configure_file(/usr/share/doc/mingw-w64-x86-64-dev/copyright ${tLicences}/mingw-w64.txt COPYONLY)
configure_file(/usr/share/common-licenses/GPL-3 ${tLicences}/GPL-3.txt COPYONLY)

list(TRANSFORM KFW_RUN_TIME PREPEND ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/ OUTPUT_VARIABLE tLibraries)
install(PROGRAMS ${tLibraries} DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${tLicences}/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/kfw/run-time)

# k_compilers_run_time(<target>): the target is linked to the libraries under the compiler's names instead, as others
# who use this compiler link theirs.
function(k_compilers_run_time pTarget)
    foreach(tDll ${KFW_COMPILERS_RUN_TIME})
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${tDll}
            OUTPUT_VARIABLE tPath OUTPUT_STRIP_TRAILING_WHITESPACE)
        get_filename_component(tFolder ${tPath} DIRECTORY)
        list(APPEND tOptions -L${tFolder})
    endforeach()
    list(REMOVE_DUPLICATES tOptions)
    target_link_options(${pTarget} BEFORE PRIVATE ${tOptions})
endfunction()
