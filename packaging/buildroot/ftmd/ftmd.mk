################################################################################
#
# ftmd: the factory-test-mode daemon, an example package for a Buildroot
# external tree (package/ftmd/ftmd.mk with Config.in beside it).
#
# Adapt: FTMD_SITE (the project's repository, or FTMD_SITE_METHOD = local
# with the source directory) and board-libs, the package of the board SDK's
# closed libcfg.so and libIni.so. The project's CMake install rules do the
# installing; scripts/check-board-install.sh checks the tree they produce.
#
################################################################################

FTMD_VERSION = 1.0.0
FTMD_SITE = https://git.example.com/gateway/ftmd.git
FTMD_SITE_METHOD = git
FTMD_LICENSE = Proprietary
FTMD_DEPENDENCIES = board-libs

# cmake-package sets the compiler, the system root and CMAKE_INSTALL_PREFIX=/usr.
FTMD_CONF_OPTS = \
	-DFTM_BACKEND=linux \
	-DFTM_TESTS=OFF \
	-DFTM_BOARD_LIBDIR=$(STAGING_DIR)/usr/lib

ifeq ($(BR2_PACKAGE_FTMD_STATIC_RUNTIME),y)
FTMD_CONF_OPTS += -DFTM_STATIC_RUNTIME=ON
else
FTMD_CONF_OPTS += -DFTM_STATIC_RUNTIME=OFF
endif

# The start-up script for BusyBox and SysV init; other inits start ftmd
# their own way.
ifeq ($(BR2_INIT_BUSYBOX)$(BR2_INIT_SYSV),y)
FTMD_CONF_OPTS += -DFTM_INIT=sysv
else
FTMD_CONF_OPTS += -DFTM_INIT=none
endif

$(eval $(cmake-package))
