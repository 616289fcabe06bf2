# SPDX-License-Identifier: ISC
# Writes what the package manager gets to know into $(WORK): version, groups, script after the
# installation.
define BuildPackage
recipe:
	$(if $(findstring +libubus,$(Package/$(1))),,$(error no dependency on libubus))
	$(if $(findstring stdcpp,$(Package/$(1))),$(error C++ runtime among the dependencies))
	$(if $(PKG_MAINTAINER),,$(error no maintainer))
	$(Build/Prepare)
	test -e $(PKG_BUILD_DIR)/$(PKG_LICENSE_FILES)
	$(INSTALL_DIR) $(WORK)/package
	$(call Package/$(1)/install,$(WORK)/package)
	$$(file >$(WORK)/postinst,$$(Package/$(1)/postinst))
	$$(file >$(WORK)/control,$$(Package/$(1)))
	echo "$(PKG_LICENSE) $(PKG_VERSION)" >$(WORK)/version
endef
