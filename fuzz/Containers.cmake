include(${PROJECT_SOURCE_DIR}/tests/Support/ContainerItems.cmake)
foreach(form Binary Text Deflate)
    vlib_add_fuzzer(Container${form} SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/ContainerFuzzDriver.cpp)
    foreach(target FuzzContainer${form} FuzzReplayContainer${form})
        if(TARGET ${target})
            target_link_libraries(${target} PRIVATE vlib_container_items)
        endif()
    endforeach()
endforeach()

# Writes the seed corpora of the targets above with the containers' own saves:
#   ContainersCorpusTool <fuzz/corpus>
if(VLIB_BUILD_TESTS)
    add_executable(ContainersCorpusTool ${CMAKE_CURRENT_SOURCE_DIR}/ContainersCorpus.cpp)
    target_link_libraries(ContainersCorpusTool PRIVATE VLibBase vlib_container_items)
endif()
