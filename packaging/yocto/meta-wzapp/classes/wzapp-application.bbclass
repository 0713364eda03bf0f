# Packs the application in S (the folder with its manifest.mft) and puts the package where the terminal's
# next installation run finds it. A recipe needs to say nothing but `inherit wzapp-application`.
#
#   WZAPP_PACKAGE     name of the package file
#   WZAPP_WZ          the tool, built for the machine that builds; it is no recipe of this layer
#   WZAPP_KEYS        folder with signers/application and signers/manifest; or
#   WZAPP_SIGN        a program that signs (wz pack --sign-command)
#   WZAPP_SPONSORS    sponsors whose terminals may have it, beside those in the manifest

WZAPP_PACKAGE ?= "${BPN}.zip"
WZAPP_WZ ?= "wz"
WZAPP_KEYS ?= ""
WZAPP_SIGN ?= ""
WZAPP_SPONSORS ?= ""

inherit allarch

do_configure[noexec] = "1"

do_compile() {
    set -- pack "${S}" -o "${B}/${WZAPP_PACKAGE}"
    if [ -n "${WZAPP_KEYS}" ]; then set -- "$@" --keys "${WZAPP_KEYS}"; fi
    if [ -n "${WZAPP_SIGN}" ]; then set -- "$@" --sign-command "${WZAPP_SIGN}"; fi
    for sponsor in ${WZAPP_SPONSORS}; do set -- "$@" --sponsor "$sponsor"; done
    rm -f "${B}/${WZAPP_PACKAGE}"
    ${WZAPP_WZ} "$@"
}

do_install() {
    install -d ${D}/mnt/flash/system/wz
    install -m 0644 "${B}/${WZAPP_PACKAGE}" ${D}/mnt/flash/system/wz/
}

FILES:${PN} += "/mnt/flash/system/wz"
