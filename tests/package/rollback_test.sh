#!/usr/bin/env bash
# The sample's installation fails halfway and at its end, its removal at its start: the
# machine is then as before, except for what the reference documents.
source "$(dirname "$0")/../support/check.sh"

out=$REPO/build/rollback-demo
last=RestartWebServices
check "nothing of the library's is left" \
    "$REPO/scripts/rollback-demo.sh" StopAPSService AddLumoSamples.51E1B228_523E_4858_8B11_C7BA1538A57C "$last"
for action in StartAPSService StartSQLService CopyHTMLViewerToPFCD UncompressZipFile UninstallJuniperLDAP \
    DuplicateSecDLLforAPS CreateNTUserGroup ConfigureWebServices UnConfigureWebServices; do
    check "$action had changes to take back" has "$out/install-$last.log" "$action: taking back what is recorded in"
done
check "so did the removal" has "$out/remove-StopAPSService.log" "StopAPSService: taking back what is recorded in"
finish
