# Warnings, hardening and sanitizers: the same for every target of the tree.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# Warnings are errors in the presets only (CMAKE_COMPILE_WARNING_AS_ERROR): a customer's newer compiler may know more.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion)

add_compile_options(-fstack-protector-strong)
# Not every compiler has these for every machine: control-flow protection is for amd64. clang only warns of one that it
# does not have.
include(CheckCXXCompilerFlag)
set(CMAKE_REQUIRED_FLAGS -Werror)
check_cxx_compiler_flag(-fstack-clash-protection PDALINK_HAS_STACK_CLASH_PROTECTION)
check_cxx_compiler_flag(-fcf-protection PDALINK_HAS_CF_PROTECTION)
unset(CMAKE_REQUIRED_FLAGS)
if(PDALINK_HAS_STACK_CLASH_PROTECTION)
    add_compile_options(-fstack-clash-protection)
endif()
if(PDALINK_HAS_CF_PROTECTION)
    add_compile_options(-fcf-protection)
endif()
add_link_options(-Wl,-z,relro -Wl,-z,now)

if(PDALINK_SANITIZE)
    add_compile_options(-fsanitize=${PDALINK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
    add_link_options(-fsanitize=${PDALINK_SANITIZE})
    # clang sees more than g++ in the headers of others.
    add_compile_options($<$<CXX_COMPILER_ID:Clang>:-fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/sanitizer-ignorelist.txt>)
    # Their reports need lines, not variables. Their own code makes g++ see uninitialised values that are none.
    add_compile_options(-g1 $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-maybe-uninitialized>)
elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
    # Debug and sanitizer builds go without: fortified reads bypass both the sanitizers' and umockdev's wrappers.
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
