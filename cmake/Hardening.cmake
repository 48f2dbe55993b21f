# What Debian builds its own packages with. Option ORDWICK_HARDEN; packaging/check-hardened tells
# whether a program has it.
set(hardeningCompile -fPIE -fstack-protector-strong -fstack-clash-protection -D_FORTIFY_SOURCE=2
    -Wformat -Werror=format-security)
set(hardeningLink -pie -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    list(APPEND hardeningCompile -fcf-protection)
endif()

if(ORDWICK_HARDEN)
    add_compile_options(${hardeningCompile})
    # Libraries that are loaded are built for tests alone.
    string(JOIN " " hardeningOfPrograms ${hardeningLink})
    string(APPEND CMAKE_EXE_LINKER_FLAGS " ${hardeningOfPrograms}")
endif()
