# One interface target carries the language, the warnings and the include root to every folder.
add_library(options INTERFACE)
target_compile_features(options INTERFACE cxx_std_20)
target_include_directories(options INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR})
target_compile_options(options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor)
if(ORDWICK_WERROR)
    target_compile_options(options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    # g++ 12 sees overlaps and uninitialised bytes inside std::string where there are none, once
    # its parts are inlined; they stay warnings.
    target_compile_options(options INTERFACE -Wno-restrict -Wno-error=maybe-uninitialized
        -Wno-error=array-bounds -Wno-error=stringop-overread -Wno-error=stringop-overflow)
endif()
set(CMAKE_CXX_EXTENSIONS OFF)

if(ORDWICK_SANITIZE)
    add_compile_options(-fsanitize=${ORDWICK_SANITIZE} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${ORDWICK_SANITIZE})
    if(ORDWICK_SANITIZE MATCHES undefined)
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
        # What g++ tells the source by itself.
        if(ORDWICK_SANITIZE MATCHES address)
            add_compile_definitions(__SANITIZE_ADDRESS__=1)
        endif()
        if(ORDWICK_SANITIZE MATCHES undefined)
            # It asks the kernel through a pipe whether an object can be read: where there are no
            # descriptors left, which tests see to, sound objects look broken.
            add_compile_options(-fno-sanitize=vptr)
        endif()
    endif()
endif()

# Call it in a folder whose code never has much to do: under a sanitizer it is not optimised, which
# takes most of the time from compiling it.
macro(compile_quickly)
    if(ORDWICK_SANITIZE)
        add_compile_options(-O0)
    endif()
endmacro()

if(ORDWICK_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

find_program(CCACHE ccache)
if(CCACHE)
    # Paths below the source tree count as relative, so that one checkout serves the next.
    # What else there is lets it take part where headers are precompiled.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${CCACHE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        add_compile_options(-fpch-preprocess)
    endif()
endif()
find_program(MOLD mold)
if(MOLD)
    add_link_options(-fuse-ld=mold)
endif()
