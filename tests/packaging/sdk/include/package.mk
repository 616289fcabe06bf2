# SPDX-License-Identifier: ISC
define BuildPackage
recipe:
	$(if $(findstring +libubus,$(Package/$(1))),,$(error no dependency on libubus))
	$(if $(findstring stdcpp,$(Package/$(1))),$(error C++ runtime among the dependencies))
	$(Build/Prepare)
	$(INSTALL_DIR) $(WORK)/package
	$(call Package/$(1)/install,$(WORK)/package)
endef
