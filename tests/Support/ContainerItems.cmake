# The demo persistent classes shared by the container tests, the container fuzz targets and the
# container benchmark. Each of them includes this file; the first include defines the target.
# An object library, so that the class records register even where nothing names a class.
include_guard(GLOBAL)
add_library(vlib_container_items OBJECT ${CMAKE_CURRENT_LIST_DIR}/ContainerItems.cpp)
target_include_directories(vlib_container_items PUBLIC ${CMAKE_CURRENT_LIST_DIR}/..)
target_link_libraries(vlib_container_items PUBLIC VLibBase)
target_compile_options(vlib_container_items PRIVATE -ffp-contract=off)
