# SPDX-License-Identifier: ISC
# A stand-in for the router's build system, as far as the recipe uses it: it prepares the source
# and installs what $(WORK)/image holds.
INCLUDE_DIR:=$(TOPDIR)/include
INSTALL_DIR:=install -d
TAR:=tar
CP:=cp -fpR
PKG_BUILD_DIR:=$(WORK)/source
PKG_INSTALL_DIR:=$(WORK)/image
all: recipe
