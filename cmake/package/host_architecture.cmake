# Read by cpack: whose libraries dpkg-shlibdeps looks at.
set(ENV{DEB_HOST_ARCH} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
