# Header-only libraries of the system, for both targets: kfw_deps.

find_package(Threads REQUIRED)

# k_find_header(<variable> <header> [<path suffix>...]): the include folder of a header of the build machine.
function(k_find_header pVariable pHeader)
    find_path(${pVariable} ${pHeader} PATH_SUFFIXES ${ARGN} NO_CMAKE_FIND_ROOT_PATH)
    if(NOT ${pVariable})
        message(FATAL_ERROR "The header ${pHeader} is missing: run scripts/setup.")
    endif()
    mark_as_advanced(${pVariable})
endfunction()

add_library(kfw_deps INTERFACE)
target_compile_definitions(kfw_deps INTERFACE FMT_HEADER_ONLY SPDLOG_FMT_EXTERNAL)

if(NOT CMAKE_CROSSCOMPILING)
    find_package(Boost 1.81 REQUIRED)
    find_package(CLI11 CONFIG REQUIRED)
    find_package(nlohmann_json CONFIG REQUIRED)
    find_package(spdlog CONFIG REQUIRED)
    find_package(fmt CONFIG REQUIRED)
    foreach(tTarget Boost::headers CLI11::CLI11 nlohmann_json::nlohmann_json spdlog::spdlog_header_only
            fmt::fmt-header-only)
        # As system headers, and without the search folders of the system itself, which must keep their place.
        get_target_property(tFolders ${tTarget} INTERFACE_INCLUDE_DIRECTORIES)
        list(REMOVE_ITEM tFolders ${CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES})
        if(tFolders)
            target_include_directories(kfw_deps SYSTEM INTERFACE ${tFolders})
        endif()
    endforeach()
else()
    # The cross compiler must not see the whole of the build machine's include folder, so the folders that are
    # wanted are linked into one of our own.
    set(tLinks ${CMAKE_BINARY_DIR}/deps/include)
    file(MAKE_DIRECTORY ${tLinks})
    foreach(tHeader boost/version.hpp CLI/CLI.hpp nlohmann/json.hpp spdlog/spdlog.h fmt/core.h)
        get_filename_component(tName ${tHeader} DIRECTORY)
        k_find_header(KFW_${tName}_INCLUDE_DIR ${tHeader})
        file(CREATE_LINK ${KFW_${tName}_INCLUDE_DIR}/${tName} ${tLinks}/${tName} SYMBOLIC)
    endforeach()
    target_include_directories(kfw_deps SYSTEM INTERFACE ${tLinks})
endif()
