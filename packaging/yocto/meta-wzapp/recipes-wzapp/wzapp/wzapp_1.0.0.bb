SUMMARY = "Runtime of a payment terminal's application platform"
DESCRIPTION = "Installs applications from signed packages and runs them in the terminal's browser service."
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

# zlib and minizip; minizip is a package of meta-openembedded.
DEPENDS = "zlib minizip"

inherit cmake pkgconfig

# Where this source lies: a repository, or a folder by `inherit externalsrc` and EXTERNALSRC.
WZAPP_SOURCE ?= "git:///path/to/libwzapp;protocol=file;branch=main"
SRC_URI = "${WZAPP_SOURCE}"
SRCREV ?= "${AUTOREV}"
S = "${WORKDIR}/git"

# The folder with authorities.txt and the product's nine authorities. There is no default: an image for a
# terminal trusts nobody whom its maker has not named.
WZAPP_AUTHORITIES ?= ""

# The recipe that brings the terminal's six platform libraries into the sysroot, and where they lie there.
WZAPP_PLATFORM_RECIPE ?= ""
WZAPP_PLATFORM_DIR ?= "${libdir}"
DEPENDS += "${WZAPP_PLATFORM_RECIPE}"

EXTRA_OECMAKE = " \
    -DWZAPP_KIT=OFF \
    -DWZAPP_TESTS=OFF \
    -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_RPATH= \
    -DWZAPP_AUTHORITIES=${WZAPP_AUTHORITIES} \
    ${@'-DWZAPP_PLATFORM_DIR=' + d.getVar('WZAPP_PLATFORM_DIR') if d.getVar('WZAPP_PLATFORM_RECIPE') else ''} \
"

# Other authorities are another library.
do_configure[file-checksums] += "${@(d.getVar('WZAPP_AUTHORITIES') + '/authorities.txt:True') if d.getVar('WZAPP_AUTHORITIES') else ''}"

python () {
    if not d.getVar('WZAPP_AUTHORITIES'):
        raise bb.parse.SkipRecipe('WZAPP_AUTHORITIES names no folder of authorities; set it in local.conf or the distribution')
}
