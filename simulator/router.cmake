add_library(sandbox STATIC sandbox.cpp)
target_include_directories(sandbox PUBLIC ${PROJECT_SOURCE_DIR})
