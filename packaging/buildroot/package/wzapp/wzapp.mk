################################################################################
#
# wzapp
#
################################################################################

WZAPP_VERSION = 1.0.0
# This tree, of which the external tree is a part.
WZAPP_SITE = $(BR2_EXTERNAL_WZAPP_PATH)/../..
WZAPP_SITE_METHOD = local
WZAPP_LICENSE = Apache-2.0
WZAPP_LICENSE_FILES = LICENSE NOTICE
WZAPP_INSTALL_STAGING = YES
WZAPP_DEPENDENCIES = zlib minizip-zlib

WZAPP_CONF_OPTS = \
	-DWZAPP_KIT=OFF \
	-DWZAPP_TESTS=OFF \
	-DCMAKE_INSTALL_RPATH= \
	-DWZAPP_BUILD_COMPILER="$(HOSTCXX)" \
	-DWZAPP_AUTHORITIES="$(call qstrip,$(BR2_PACKAGE_WZAPP_AUTHORITIES))" \
	-DWZAPP_PLATFORM_DIR="$(call qstrip,$(BR2_PACKAGE_WZAPP_PLATFORM_DIR))"

ifeq ($(BR2_PACKAGE_WZAPP),y)
ifeq ($(call qstrip,$(BR2_PACKAGE_WZAPP_AUTHORITIES)),)
$(error BR2_PACKAGE_WZAPP_AUTHORITIES names no folder of authorities)
endif
endif

$(eval $(cmake-package))
