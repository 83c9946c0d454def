# kissfft: the header-only C++ FFT template kissfft.hh (BSD-3-Clause), from
# Debian's libkissfft-dev.  Only the template is used (kissfft<double>); the
# package's compiled libkissfft is single precision and is not linked.
#
# Sets ZEFRA_KISSFFT_INCLUDE_DIR, the folder that holds kissfft.hh.  A cross
# build whose find root is the target's sysroot falls back to the host's
# copy: the header is plain standard C++ and the same on every platform.
find_path(ZEFRA_KISSFFT_INCLUDE_DIR
  NAMES kissfft.hh
  HINTS /usr/include
  PATH_SUFFIXES kissfft
  DOC "Folder of kissfft.hh (Debian package libkissfft-dev)")
if(NOT ZEFRA_KISSFFT_INCLUDE_DIR AND CMAKE_CROSSCOMPILING)
  unset(ZEFRA_KISSFFT_INCLUDE_DIR CACHE)
  find_path(ZEFRA_KISSFFT_INCLUDE_DIR
    NAMES kissfft.hh
    PATHS /usr/include /usr/local/include
    PATH_SUFFIXES kissfft
    NO_CMAKE_FIND_ROOT_PATH
    DOC "Folder of kissfft.hh (Debian package libkissfft-dev)")
endif()
if(NOT ZEFRA_KISSFFT_INCLUDE_DIR)
  message(FATAL_ERROR "kissfft.hh not found: the toolkit's inverse FFT needs the header-only "
    "kissfft template. On Debian install the package libkissfft-dev "
    "(apt-get install libkissfft-dev), or set ZEFRA_KISSFFT_INCLUDE_DIR to the folder "
    "that holds kissfft.hh.")
endif()
