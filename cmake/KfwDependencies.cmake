# Header-only libraries of the system, for both targets. The cross compiler must not see the whole of
# /usr/include, so the folders that are wanted are linked into one of our own.

set(KFW_DEPS_INCLUDE ${CMAKE_BINARY_DIR}/deps/include)
file(MAKE_DIRECTORY ${KFW_DEPS_INCLUDE})
foreach(tName boost CLI nlohmann spdlog fmt)
    if(NOT EXISTS /usr/include/${tName})
        message(FATAL_ERROR "The headers of ${tName} are missing: run scripts/setup.")
    endif()
    file(CREATE_LINK /usr/include/${tName} ${KFW_DEPS_INCLUDE}/${tName} SYMBOLIC)
endforeach()

find_package(Threads REQUIRED)

add_library(kfw_deps INTERFACE)
target_include_directories(kfw_deps SYSTEM INTERFACE ${KFW_DEPS_INCLUDE})
target_compile_definitions(kfw_deps INTERFACE FMT_HEADER_ONLY SPDLOG_FMT_EXTERNAL)
