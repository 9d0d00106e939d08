# find_package(nec): target nec::nec and, below it, nec::platform.
include(CMakeFindDependencyMacro)
find_dependency(necplatform ${nec_VERSION} EXACT HINTS ${CMAKE_CURRENT_LIST_DIR}/../necplatform)
include(${CMAKE_CURRENT_LIST_DIR}/nec-targets.cmake)
