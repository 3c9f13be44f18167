vlib_add_fuzzer(SplitString)
vlib_add_fuzzer(XmlText)
vlib_add_fuzzer(XmlBinary)
vlib_add_fuzzer(StringDatabase)
