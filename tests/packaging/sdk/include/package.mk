# SPDX-License-Identifier: ISC
# Writes what the package manager gets to know into $(WORK): version, groups, script after the
# installation. `recipe` is about the daemon, `pages` about the other packages.
BuildPackage=$(if $(filter kelvantorium,$(1)),$(DaemonPackage),$(PagePackage))

define PagePackage
.PHONY: pages $(1)
pages: $(1)
$(1):
	$(if $(findstring PKGARCH:=all,$(Package/$(1))),,$(error $(1) is of one architecture))
	$(INSTALL_DIR) $(WORK)/$(1)
	$(call Package/$(1)/install,$(WORK)/$(1))
	$$(file >$(WORK)/$(1).control,$$(Package/$(1)))
endef

define DaemonPackage
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
