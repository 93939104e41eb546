# One static library per layer; sources are picked up by folder so that adding a class
# never means touching the build files of other layers.
function(vestry_layer name dir)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${dir}/*.cpp ${dir}/*.h)
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
    vestry_precompile(${name} core.h)
endfunction()

# Qt's and GoogleTest's headers dominate the build; parse them once per target. The fuzz
# build (clang with sanitizers of its own) goes without.
function(vestry_precompile target header)
    if(NOT VESTRY_FUZZ)
        target_precompile_headers(${target} PRIVATE ${CMAKE_SOURCE_DIR}/cmake/pch/${header})
    endif()
endfunction()

# One GoogleTest executable per layer, labelled by layer.
function(vestry_test_suite name dir)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${dir}/*.cpp ${dir}/*.h)
    add_executable(${name} ${sources})
    target_link_libraries(${name} PRIVATE vestry_testsupport ${ARGN})
    vestry_precompile(${name} tests.h)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    get_filename_component(layer ${dir} NAME)
    gtest_discover_tests(${name}
        DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS ${layer} ENVIRONMENT "QT_QPA_PLATFORM=offscreen" TIMEOUT 120)
endfunction()
