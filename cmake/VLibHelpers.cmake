# Helpers through which each subsystem adds its sources, tests, benchmarks and fuzz targets,
# so that a subsystem's lists live in its own folders and never in the top-level file.

# vlib_add_subsystem(<Sub> SOURCES a.cpp ... [LIBS dep ...])
# One OBJECT library per subsystem, folded into the shared VLibBase.
function(vlib_add_subsystem sub)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    string(TOLOWER ${sub} lower)
    set(target vlib_${lower})
    add_library(${target} OBJECT ${ARG_SOURCES})
    target_link_libraries(${target} PRIVATE vlib_options ${ARG_LIBS})
    target_sources(VLibBase PRIVATE $<TARGET_OBJECTS:${target}>)
    if(ARG_LIBS)
        target_link_libraries(VLibBase PRIVATE ${ARG_LIBS})
    endif()
endfunction()

# vlib_add_test_suite(<Sub> [THREADED] SOURCES a.cpp ... [LIBS dep ...])
# One GoogleTest executable per subsystem, linked to the shared library as a host is.
# THREADED suites also run under the tsan preset.
function(vlib_add_test_suite sub)
    cmake_parse_arguments(ARG "THREADED" "" "SOURCES;LIBS" ${ARGN})
    set(target VLibTests_${sub})
    if(VLIB_THREADED_TESTS_ONLY AND NOT ARG_THREADED)
        # Kept as a target so a suite's own CMakeLists may still refer to it, but not built.
        add_executable(${target} EXCLUDE_FROM_ALL ${ARG_SOURCES})
        target_link_libraries(${target} PRIVATE VLibBase vlib_test_support GTest::gtest_main
            GTest::gmock ${ARG_LIBS})
        return()
    endif()
    add_executable(${target} ${ARG_SOURCES})
    target_link_libraries(${target} PRIVATE VLibBase vlib_test_support GTest::gtest_main
        GTest::gmock ${ARG_LIBS})
    # One label per suite: the discovery script cannot carry a list. Label filters are
    # regular expressions, so "Core-threaded" answers to both -L Core and -L threaded.
    set(labels ${sub})
    if(ARG_THREADED)
        set(labels ${sub}-threaded)
    endif()
    gtest_discover_tests(${target}
        WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}
        PROPERTIES LABELS "${labels}"
        DISCOVERY_TIMEOUT 60)
endfunction()

# vlib_add_benchmark(<Name> SOURCES a.cpp ... [LIBS peer ...])
function(vlib_add_benchmark name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE VLibBase benchmark::benchmark ${ARG_LIBS})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/bench)
    target_compile_options(${name} PRIVATE -ffp-contract=off)
endfunction()

# vlib_add_fuzzer(<Format> [SOURCES extra.cpp ...])
# fuzz/Fuzz<Format>.cpp defines LLVMFuzzerTestOneInput. With VLIB_FUZZ it becomes a libFuzzer
# binary; in every build it is also linked with a replay main() that runs each file of
# fuzz/corpus/<Format>/ under CTest, so an input that once crashed stays fixed.
function(vlib_add_fuzzer format)
    cmake_parse_arguments(ARG "" "" "SOURCES" ${ARGN})
    set(src ${PROJECT_SOURCE_DIR}/fuzz/Fuzz${format}.cpp ${ARG_SOURCES})
    set(corpus ${PROJECT_SOURCE_DIR}/fuzz/corpus/${format})
    if(VLIB_FUZZ)
        add_executable(Fuzz${format} ${src})
        target_link_libraries(Fuzz${format} PRIVATE VLibBase)
        target_compile_options(Fuzz${format} PRIVATE -fsanitize=fuzzer)
        target_link_options(Fuzz${format} PRIVATE -fsanitize=fuzzer)
    endif()
    if(VLIB_BUILD_TESTS AND NOT VLIB_THREADED_TESTS_ONLY)
        add_executable(FuzzReplay${format} ${src} ${PROJECT_SOURCE_DIR}/fuzz/FuzzReplay.cpp)
        target_link_libraries(FuzzReplay${format} PRIVATE VLibBase)
        add_test(NAME FuzzReplay.${format} COMMAND FuzzReplay${format} ${corpus})
        set_tests_properties(FuzzReplay.${format} PROPERTIES LABELS "fuzzreplay")
    endif()
endfunction()
