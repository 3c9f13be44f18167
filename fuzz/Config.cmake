vlib_add_fuzzer(IniText)
vlib_add_fuzzer(IniBinary)
vlib_add_fuzzer(CommandLine)
