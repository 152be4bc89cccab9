# 32 bits on this machine: g++ -m32, with Debian's g++-multilib or g++-12-multilib. The latter lacks
# a link to the headers of the kernel, which don't depend on the number of bits.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i386)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_CXX_FLAGS_INIT "-m32 -idirafter /usr/include/x86_64-linux-gnu")
