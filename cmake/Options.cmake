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

# Call it in a folder whose code the optimiser need not see.
macro(compile_plain)
    add_compile_options(-O0)
    file(RELATIVE_PATH plain_folder ${PROJECT_BINARY_DIR} ${CMAKE_CURRENT_BINARY_DIR})
    set_property(GLOBAL APPEND PROPERTY ORDWICK_PLAIN_FOLDERS ${plain_folder})
endmacro()

# For a target of such a folder that does much itself, as released.
function(compile_optimised target)
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O2>)
endfunction()

# Call it in a folder whose code never has much to do: under a sanitizer it is not optimised, which
# takes most of the time from compiling it.
macro(compile_quickly)
    if(ORDWICK_SANITIZE)
        compile_plain()
    endif()
endmacro()

# Call it once all folders are known.
function(link_plain_last)
    get_property(folders GLOBAL PROPERTY ORDWICK_PLAIN_FOLDERS)
    if(folders AND MOLD)
        list(JOIN folders : folders)
        set_property(GLOBAL PROPERTY
            RULE_LAUNCH_LINK "${PROJECT_SOURCE_DIR}/cmake/link-plain-last ${folders}")
    endif()
endfunction()

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
