vlib_add_fuzzer(PackIndex)
vlib_add_fuzzer(RuleFile)
vlib_add_fuzzer(CompiledResource)

# Writes the seed corpora of the targets above with the library's own writers:
#   ResourcesCorpusTool <fuzz/corpus>
if(VLIB_BUILD_TESTS)
    add_executable(ResourcesCorpusTool ${CMAKE_CURRENT_SOURCE_DIR}/ResourcesCorpus.cpp)
    target_link_libraries(ResourcesCorpusTool PRIVATE VLibBase)
endif()
if(VLIB_BUILD_TESTS)
    add_executable(CompiledResourceCorpusTool ${CMAKE_CURRENT_SOURCE_DIR}/CompiledResourceCorpus.cpp)
    target_link_libraries(CompiledResourceCorpusTool PRIVATE VLibBase)
endif()
