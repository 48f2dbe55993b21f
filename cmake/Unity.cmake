# compile_together() has the sources of each target compiled several at once: most of what one of them
# costs goes into headers and templates that its neighbours need too. Call it when every target is
# there. Option ORDWICK_UNITY; the preset "debug" has it off, so that a changed file is all that is
# compiled again.
#
# The .cpp files of a target go, in the order in which they are listed, into parts of the same length,
# of at most about ORDWICK_UNITY_BYTES: most targets are one part. More would be made anew in each, and
# less would leave a processor waiting for the last one, and need gigabytes of memory. What is generated
# stays by itself.
#
# It is CMake's UNITY_BUILD but for one thing: a part names its files from the include root. A path of
# this machine in a source would keep the objects of one checkout from the next in ccache.
set(ORDWICK_UNITY_BYTES 300000)

function(compile_together)
    set(folders ${PROJECT_SOURCE_DIR})
    while(folders)
        list(POP_FRONT folders folder)
        get_property(below DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
        list(APPEND folders ${below})
        get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
        foreach(target ${targets})
            get_target_property(type ${target} TYPE)
            if(type MATCHES "^(EXECUTABLE|STATIC_LIBRARY|OBJECT_LIBRARY)$")
                compile_target_together(${target} ${folder})
            endif()
        endforeach()
    endwhile()
endfunction()

function(compile_target_together target folder)
    set(together "")
    set(others "")
    set(bytes 0)
    get_target_property(sources ${target} SOURCES)
    foreach(source ${sources})
        cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${folder} NORMALIZE)
        cmake_path(IS_PREFIX PROJECT_BINARY_DIR ${source} isGenerated)
        # One that is compiled in its own way stays by itself.
        get_property(own SOURCE ${source} DIRECTORY ${folder} PROPERTY COMPILE_OPTIONS)
        if(source MATCHES "[.]cpp$" AND NOT isGenerated AND NOT own)
            list(APPEND together ${source})
            file(SIZE ${source} size)
            math(EXPR bytes "${bytes} + ${size}")
        else()
            list(APPEND others ${source})
        endif()
    endforeach()

    list(LENGTH together count)
    if(count LESS 2)
        return()
    endif()

    math(EXPR parts "${bytes} / ${ORDWICK_UNITY_BYTES} + 1")
    math(EXPR partBytes "${bytes} / ${parts} + 1")
    set(before 0)
    foreach(source ${together})
        math(EXPR part "${before} / ${partBytes} + 1")
        file(SIZE ${source} size)
        math(EXPR before "${before} + ${size}")
        cmake_path(RELATIVE_PATH source BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
        string(APPEND text_${part} "#include \"${source}\"\n")
    endforeach()
    foreach(part RANGE 1 ${parts})
        if(text_${part})
            set(file ${PROJECT_BINARY_DIR}/unity/${target}_${part}.cpp)
            # Written only where it differs, or each configuring would have all compiled again.
            file(CONFIGURE OUTPUT ${file} CONTENT "${text_${part}}" @ONLY)
            list(APPEND others ${file})
        endif()
    endforeach()
    # What is precompiled serves many files that read the same; here are one or two.
    set_target_properties(${target} PROPERTIES SOURCES "${others}" PRECOMPILE_HEADERS "")
endfunction()
