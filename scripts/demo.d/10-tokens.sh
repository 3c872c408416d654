# Providers and tokens.
start_service

chapter "Providers and tokens"
run panelctl --version
run panelctl provider list
run panelctl token list

chapter "A new token"
printf 'so-secret\n1234567\n' >"$day/pins"
run panelctl token init --label "Office Офис" --so-pin-stdin --pin-stdin <"$day/pins"
run panelctl token list

chapter "Logging in, first with a wrong PIN"
refused 20 panelctl token login "Office Офис" --pin-stdin <<<'7654321'
refused 10 panelctl token login "Ofice" --pin-stdin <<<'1234567'
run panelctl token login "Office Офис" --pin-stdin <<<'1234567'
run panelctl token list

chapter "A new PIN, and a seed"
run panelctl token logout "Office Офис"
printf '1234567\n2345678\n' >"$day/pins"
run panelctl token change-pin "Office Офис" --pin-stdin --new-pin-stdin <"$day/pins"
refused 20 panelctl token login "Office Офис" --pin-stdin <<<'1234567'
run panelctl token login "Office Офис" --pin-stdin <<<'2345678'
run panelctl token seed "Office Офис"

chapter "Another program sees the same token"
SOFTHSM2_CONF=$day/state/softhsm/softhsm2.conf run pkcs11-tool --module /usr/lib/softhsm/libsofthsm2.so -L
SOFTHSM2_CONF=$day/state/softhsm/softhsm2.conf pkcs11-tool --module /usr/lib/softhsm/libsofthsm2.so -L 2>/dev/null |
    grep -q 'Office Офис' || { echo "demo: pkcs11-tool does not see the token" >&2; exit 1; }

chapter "Output for scripts"
run panelctl token list --json
