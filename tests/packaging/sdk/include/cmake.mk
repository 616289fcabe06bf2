# SPDX-License-Identifier: ISC
# The prepared source is configured as the router's build system does it, with its optimisation, but
# for the libraries, which are not there.
CMAKE_OPTIONS=-DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS="$(TARGET_CFLAGS)" \
	-DCMAKE_CXX_FLAGS="$(TARGET_CFLAGS)" -DCMAKE_EXE_LINKER_FLAGS="$(TARGET_CFLAGS)"
TARGET_CFLAGS=-Os $(if $(filter lto,$(PKG_BUILD_FLAGS)),-flto=auto -fno-fat-lto-objects) \
	$(if $(filter gc-sections,$(PKG_BUILD_FLAGS)),-ffunction-sections -fdata-sections)
configure:
	cmake -S $(PKG_BUILD_DIR) -B $(WORK)/cmake $(CMAKE_OPTIONS) -DKELVANTORIUM_PLATFORM=bundled
