vlib_add_fuzzer(AsciiIn)
vlib_add_fuzzer(BinaryIn)
vlib_add_fuzzer(VersionedHeader)
vlib_add_fuzzer(Inflate)
vlib_add_fuzzer(CompressRaw)

# Writes the seed corpora of the targets above with the library's own writers:
#   StreamsCorpusTool <fuzz/corpus>
if(VLIB_BUILD_TESTS)
    add_executable(StreamsCorpusTool ${CMAKE_CURRENT_SOURCE_DIR}/StreamsCorpus.cpp)
    target_link_libraries(StreamsCorpusTool PRIVATE VLibBase)
endif()
