# Certificates, CRLs, requests and preshared keys. Uses the token of the chapter before, which is logged in to.
token="Office Офис"
pki=$day/pki

# ---- a certification authority of our own, with OpenSSL

make_authority() {
    mkdir -p "$pki/issued"
    : >"$pki/index"
    echo 1000 >"$pki/serial"
    echo 01 >"$pki/crlnumber"
    cat >"$pki/ca.conf" <<END
[ca]
default_ca = demo
[demo]
database = $pki/index
new_certs_dir = $pki/issued
serial = $pki/serial
crlnumber = $pki/crlnumber
certificate = $pki/ca.pem
private_key = $pki/ca.key
default_md = sha256
default_crl_days = 30
policy = any_name
unique_subject = no
x509_extensions = peer
crl_extensions = list
[any_name]
commonName = supplied
organizationName = optional
[peer]
basicConstraints = CA:FALSE
keyUsage = digitalSignature, keyEncipherment
extendedKeyUsage = clientAuth, serverAuth, 1.3.6.1.5.5.7.3.17
subjectAltName = DNS:gate.example, IP:192.168.8.2
[list]
authorityKeyIdentifier = keyid
END
    openssl req -x509 -newkey rsa:2048 -nodes -keyout "$pki/ca.key" -out "$pki/ca.pem" -days 3650 \
        -subj "/O=Office/CN=Office CA" -addext "keyUsage=critical,keyCertSign,cRLSign"
}

# sign REQUEST CERTIFICATE OPTION...
sign() { openssl ca -batch -notext -utf8 -config "$pki/ca.conf" -in "$1" -out "$2" "${@:3}"; }

# issue NAME COMMON_NAME OPTION...: a certificate with a key, in NAME.pem and NAME.key
issue() {
    openssl req -new -newkey rsa:2048 -nodes -utf8 -keyout "$pki/$1.key" -out "$pki/$1.csr" -subj "/O=Office/CN=$2"
    sign "$pki/$1.csr" "$pki/$1.pem" "${@:3}"
}

make_files() {
    make_authority
    issue gate "Gate Büro" -days 20
    issue old "Old gate" -startdate 20200101000000Z -enddate 20210101000000Z
    issue lost "Lost laptop" -days 365
    openssl ca -config "$pki/ca.conf" -revoke "$pki/lost.pem"
    openssl ca -config "$pki/ca.conf" -gencrl -out "$pki/ca.crl"
    openssl req -x509 -newkey rsa:2048 -nodes -keyout "$pki/other.key" -out "$pki/other-ca.pem" -subj "/CN=Other CA"
    openssl req -new -newkey rsa:2048 -nodes -keyout "$pki/guest.key" -out "$pki/guest.csr" -subj "/CN=Guest"
    openssl x509 -req -in "$pki/guest.csr" -CA "$pki/other-ca.pem" -CAkey "$pki/other.key" -out "$pki/guest.pem" -days 30
    openssl pkcs12 -export -in "$pki/gate.pem" -inkey "$pki/gate.key" -certfile "$pki/ca.pem" -name gate \
        -out "$pki/gate.p12" -passout env:FILE_PASSWORD
}

quietly() { "$@" >"$day/quiet.log" 2>&1 || { cat "$day/quiet.log" >&2; echo "demo: FAILED: $*" >&2; exit 1; }; }

same() { cmp -s "$1" "$2" || { echo "demo: $1 and $2 differ" >&2; exit 1; }; }

chapter "Certificates from files: an authority, a certificate with its key, a revocation list"
FILE_PASSWORD=over-the-hills quietly make_files
run panelctl cert import "$pki/gate.p12" --list --password-stdin <<<'over-the-hills'
refused 63 panelctl cert import "$pki/gate.p12" --token "$token" --password-stdin <<<'under-the-hills'
run panelctl cert import "$pki/gate.p12" --token "$token" --extractable --password-stdin <<<'over-the-hills'
refused 62 panelctl cert import "$pki/ca.pem" --token "$token"
for name in old lost guest; do run panelctl cert import "$pki/$name.pem" --token "$token"; done
run panelctl crl import "$pki/ca.crl" --token "$token"
run panelctl cert list
run panelctl crl list

chapter "Files that are refused before anything is sent"
truncate -s 100M "$pki/huge.pem"
refused 13 panelctl cert import "$pki/huge.pem"
refused 12 panelctl cert import "$pki"
rm "$pki/huge.pem"

chapter "One certificate"
run panelctl cert show "Gate Büro"
run panelctl cert chain gate
run panelctl cert list --with-key
refused 61 panelctl cert list --expiring 30d

chapter "Verification: valid, expired, revoked, of an unknown authority"
run panelctl cert verify "Gate Büro" --purpose ike --crl-required
refused 60 panelctl cert verify "Old gate"
refused 60 panelctl cert verify "Lost laptop"
refused 60 panelctl cert verify Guest

chapter "A certificate request with a key pair on the token, signed by the authority"
run panelctl cert request --token "$token" --list-keys
run panelctl cert request --token "$token" --cn "Branch" --o Office --key rsa:2048 --san DNS:branch.example \
    --usage digitalSignature,ipsecIKE --output "$pki/branch.csr"
run openssl req -in "$pki/branch.csr" -verify -noout -subject
quietly sign "$pki/branch.csr" "$pki/branch.pem" -days 400
run panelctl cert import "$pki/branch.pem"
run panelctl cert list --with-key
run panelctl cert verify Branch

chapter "Export, and import again"
run panelctl cert export Branch --output "$pki/branch-again.pem"
quietly openssl x509 -in "$pki/branch.pem" -outform DER -out "$pki/1.der"
quietly openssl x509 -in "$pki/branch-again.pem" -outform DER -out "$pki/2.der"
same "$pki/1.der" "$pki/2.der"
refused 64 panelctl cert export Branch --key --password-stdin --output "$pki/branch.p12" <<<'far-away'
run panelctl cert export "Gate Büro" --key --chain --password-stdin --output "$pki/gate-again.p12" <<<'far-away'
FILE_PASSWORD=far-away quietly openssl pkcs12 -in "$pki/gate-again.p12" -passin env:FILE_PASSWORD -nodes -out "$pki/gate-again.pem"
refused 26 panelctl cert delete Branch </dev/null
run panelctl cert delete Branch --yes
run panelctl cert import "$pki/branch-again.pem"
run panelctl cert list --with-key

chapter "Preshared keys"
run panelctl psk create "site A" --token "$token" --value-stdin <<<'correct horse battery staple'
run panelctl psk list
run panelctl psk delete "site A" --yes

chapter "Another program sees the same objects"
export SOFTHSM2_CONF=$day/state/softhsm/softhsm2.conf TOKEN_PIN=2345678
objects=(pkcs11-tool --module /usr/lib/softhsm/libsofthsm2.so --token-label "$token" --login --pin env:TOKEN_PIN -O)
run "${objects[@]}"
"${objects[@]}" 2>/dev/null >"$day/objects"
for seen in 'CN=Gate' "label: *Branch" "panelkit CRL"; do
    grep -q "$seen" "$day/objects" || { echo "demo: pkcs11-tool does not see $seen" >&2; exit 1; }
done
unset SOFTHSM2_CONF TOKEN_PIN
run panelctl crl delete "Office CA" --yes
run panelctl cert reload
