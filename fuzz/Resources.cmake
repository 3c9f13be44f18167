vlib_add_fuzzer(PackIndex)
vlib_add_fuzzer(RuleFile)

# Writes the seed corpora of the targets above with the library's own writers:
#   ResourcesCorpusTool <fuzz/corpus>
if(VLIB_BUILD_TESTS)
    add_executable(ResourcesCorpusTool ${CMAKE_CURRENT_SOURCE_DIR}/ResourcesCorpus.cpp)
    target_link_libraries(ResourcesCorpusTool PRIVATE VLibBase)
endif()
