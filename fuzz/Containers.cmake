vlib_add_fuzzer(ContainerBinary SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/ContainerFuzzItems.cpp)
vlib_add_fuzzer(ContainerText SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/ContainerFuzzItems.cpp)
vlib_add_fuzzer(ContainerDeflate SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/ContainerFuzzItems.cpp)

# Writes the seed corpora of the targets above with the containers' own saves:
#   ContainersCorpusTool <fuzz/corpus>
if(VLIB_BUILD_TESTS)
    add_executable(ContainersCorpusTool ${CMAKE_CURRENT_SOURCE_DIR}/ContainersCorpus.cpp
        ${CMAKE_CURRENT_SOURCE_DIR}/ContainerFuzzItems.cpp)
    target_link_libraries(ContainersCorpusTool PRIVATE VLibBase)
endif()
