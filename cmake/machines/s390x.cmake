# A big-endian machine of 64 bits: Debian's g++-s390x-linux-gnu, and qemu-user to run what it makes.
# Libraries that are headers alone are taken from this machine, after the other's own headers.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)
set(CMAKE_CXX_FLAGS_INIT "-idirafter /usr/include")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x -L /usr/s390x-linux-gnu)
