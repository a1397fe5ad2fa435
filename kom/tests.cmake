add_subdirectory(testmodule)

foreach(tSubject backpointer heap identity ref implements)
    k_test(kom_${tSubject}_test SOURCES kom_${tSubject}_test.cpp LIBRARIES kom)
endforeach()
k_test(kom_pathstart_test SOURCES kom_pathstart_test.cpp LIBRARIES kom)
k_test(kom_classfile_test SOURCES kom_classfile_test.cpp LIBRARIES kom_objects)
k_test(kom_module_test SOURCES kom_module_test.cpp LIBRARIES kom_objects WRAP kprWatchProcessEnd)
k_test(kom_registry_test SOURCES kom_registry_test.cpp LIBRARIES kom kpr_testing)
k_test(kom_registry_fault_test SOURCES kom_registry_fault_test.cpp
    LIBRARIES kom_objects kfw_fault_table kpr_testing)
k_test(kom_loader_test
    SOURCES kom_loader_test.cpp kom_loader_registering_test.cpp kom_loader_unloading_test.cpp
    LIBRARIES kom kom_testmodules kpr_testing)
if(WIN32)
    k_test(kom_registry_win_test SOURCES kom_registry_win_test.cpp LIBRARIES kom kpr_testing advapi32 COST 10)
else()
    k_test(kom_registry_posix_test SOURCES kom_registry_posix_test.cpp LIBRARIES kom kpr_testing)
    k_test(kom_loader_posix_test SOURCES kom_loader_posix_test.cpp LIBRARIES kom kom_testmodules kpr_testing
        ${CMAKE_DL_LIBS})
    # Its functions are found before kpr's.
    set_target_properties(kom_loader_posix_test PROPERTIES CXX_VISIBILITY_PRESET default)
endif()

k_exports_test(kom kom)
