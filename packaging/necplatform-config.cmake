# find_package(necplatform): target nec::platform, the frame that libnec runs in. Another frame's package that offers a
# target of this name can take its place when libnec is built (NEC_PLATFORM).
include(${CMAKE_CURRENT_LIST_DIR}/necplatform-targets.cmake)
