# SPDX-License-Identifier: Apache-2.0
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

find_program(QOR_CCACHE ccache)
if(QOR_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QOR_CCACHE})
endif()

# Everything of this repository is compiled with these; headers of dependencies are system headers.
add_library(qor_options INTERFACE)
target_include_directories(qor_options INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
target_compile_options(qor_options INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
                                             -Wconversion -Wno-sign-conversion)
# A function of one of our libraries is never replaced from outside, so that it can be inlined within it.
add_compile_options(-fno-semantic-interposition)
option(QOR_WERROR "Warnings are errors" ON)
if(QOR_WERROR)
  target_compile_options(qor_options INTERFACE -Werror)
endif()
if(QOR_SANITIZE)
  add_compile_options(-fsanitize=${QOR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QOR_SANITIZE})
endif()
# Without it a fuzzer sees only the code of its target, and not what that calls in the libraries.
if(QOR_BUILD_FUZZ)
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fsanitize=fuzzer-no-link>)  # the C compiler is another
endif()
