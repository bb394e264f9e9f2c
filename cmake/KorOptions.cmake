# How every target of the project is compiled and linked, used PRIVATE: kor_product for what is
# shipped, kor_options for the rest.

include(CheckPIESupported)
check_pie_supported()

set(KOR_SANITIZE "" CACHE STRING "Sanitizers, as for -fsanitize= (address,undefined or thread)")
option(KOR_WERROR "Treat warnings as errors" ON)
option(KOR_COVERAGE "Instrument for gcov" OFF)
option(KOR_LTO "Link-time optimisation" OFF)
option(KOR_PRECOMPILE "Precompile common headers: quicker where there is no compiler cache" OFF)

add_library(kor_options INTERFACE)
target_include_directories(kor_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_compile_options(kor_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<BOOL:${KOR_WERROR}>:-Werror>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  # An index beyond the end of a container ends the program, where the tests see it.
  $<$<CONFIG:Debug>:-D_GLIBCXX_ASSERTIONS>
  -fvisibility-inlines-hidden -fstack-protector-strong)
target_link_options(kor_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

if(KOR_SANITIZE)
  target_compile_options(kor_options INTERFACE
    -fsanitize=${KOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    $<$<CXX_COMPILER_ID:Clang>:-gline-tables-only>)
  target_link_options(kor_options INTERFACE -fsanitize=${KOR_SANITIZE})
endif()

# KOR_UNOPTIMISED on a target: its own code is compiled in a third of the time. For tests, which are
# many and whose speed does not matter; what they test is optimised as ever.
set(unoptimised $<OR:$<CONFIG:Debug>,$<BOOL:$<TARGET_PROPERTY:KOR_UNOPTIMISED>>>)
target_compile_options(kor_options INTERFACE $<${unoptimised}:-O0>)
if(NOT KOR_SANITIZE)
  # Fortification needs optimisation, and the sanitizers replace the functions that it hardens.
  target_compile_options(kor_options INTERFACE
    $<$<NOT:${unoptimised}>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>)
endif()

if(KOR_COVERAGE)
  target_compile_options(kor_options INTERFACE --coverage)
  target_link_options(kor_options INTERFACE --coverage)
endif()

# What is shipped is optimised across its sources. The objects hold ordinary code too, so that test
# programs that link some of them do not pay for it.
add_library(kor_product INTERFACE)
target_link_libraries(kor_product INTERFACE kor_options)
if(KOR_LTO AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(kor_product INTERFACE -flto=auto -ffat-lto-objects)
  # Nobody replaces single functions of our libraries: they call their own without looking them up.
  target_compile_options(kor_product INTERFACE -fno-semantic-interposition)
  target_link_options(kor_product INTERFACE -Wl,-Bsymbolic-functions)
  target_link_options(kor_product INTERFACE -flto=auto)
endif()

# kor_precompile(TARGET): with what most sources include read once.
set(KOR_COMMON_HEADERS <algorithm> <functional> <map> <memory> <optional> <string> <utility> <vector>)
function(kor_precompile target)
  if(KOR_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE ${KOR_COMMON_HEADERS})
  endif()
endfunction()

# The cache does not keep what a precompiled header went into.
find_program(KOR_CCACHE ccache)
if(KOR_CCACHE AND NOT KOR_PRECOMPILE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${KOR_CCACHE})
endif()
