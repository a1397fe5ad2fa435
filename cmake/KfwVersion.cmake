# What libraries and programs say of themselves, all from the project's version.

set(K_PRODUCT "KOS")
set(K_PRODUCT_NAME "VEL KOS")

# k_knows_version(<target> [<source>...]): these sources of the target, without any all of them, see the project's
# version, four numbers, as KFW_PROJECT_VERSION, and its product's name, short and long, as KFW_PRODUCT and
# KFW_PRODUCT_NAME.
function(k_knows_version pTarget)
    set(tDefinitions KFW_PROJECT_VERSION="${PROJECT_VERSION}" KFW_PRODUCT="${K_PRODUCT}"
        KFW_PRODUCT_NAME="${K_PRODUCT_NAME}")
    if(ARGN)
        set_source_files_properties(${ARGN} TARGET_DIRECTORY ${pTarget}
            PROPERTIES COMPILE_DEFINITIONS "${tDefinitions}")
    else()
        target_compile_definitions(${pTarget} PRIVATE ${tDefinitions})
    endif()
endfunction()

set(K_VERSION_FOLDER ${CMAKE_CURRENT_LIST_DIR})

# k_version(<target> <description>): gives a library or program a version resource (Windows) or a note (Linux) with
# the same attributes, which kprGetDSOAttributes reads. The description begins with the product's name.
function(k_version pTarget pDescription)
    set(K_INTERNAL_NAME ${pTarget})
    set(K_DESCRIPTION "${K_PRODUCT} ${pDescription}")
    get_target_property(tType ${pTarget} TYPE)
    if(tType STREQUAL "EXECUTABLE")
        set(K_FILE_TYPE VFT_APP)
        set(K_FILE_NAME ${pTarget}.exe)
    else()
        set(K_FILE_TYPE VFT_DLL)
        set(K_FILE_NAME ${pTarget}.dll)
    endif()
    if(WIN32)
        set(tSource ${CMAKE_CURRENT_BINARY_DIR}/${pTarget}_version.rc)
        configure_file(${K_VERSION_FOLDER}/version.rc.in ${tSource} @ONLY)
    else()
        set(tSource ${CMAKE_CURRENT_BINARY_DIR}/${pTarget}_version.cpp)
        configure_file(${K_VERSION_FOLDER}/version_note.cpp.in ${tSource} @ONLY)
    endif()
    target_sources(${pTarget} PRIVATE ${tSource})
endfunction()
