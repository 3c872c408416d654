# A tunnel of the packaged service, with the drop-in unit for the engine "charon", and what happens to the packet filter
# when the service is killed, stopped, upgraded, removed and purged. "debian-packages try" runs it as root in a container
# with systemd, a network of its own, and the packages in /debs. The gateway's part, scripts/gateway.sh, comes before it.
set -ex
gate=/tmp/gate
soon() { for _ in $(seq 150); do "$@" && return 0; sleep 0.2; done; return 1; }
pings() { ping -n -c 1 -W 1 10.9.0.1; }
filter_is_there() { nft list table inet panelkit | grep -q 'section \[office\]'; }
tunnel_is() { panelctl tunnel list | grep -q "^office *$1 "; }
# The packets for the protected network that have reached the gateway in clear.
in_clear() { there nft list table inet seen | sed -n 's/.*packets \([0-9]*\).*/\1/p'; }

cable() {
    lay_cable
    there nft 'add table inet seen; add chain inet seen come { type filter hook prerouting priority -300; };
        add rule inet seen come iifname w0 ip daddr 10.9.0.0/16 counter'
}

# issue NAME EXTENSION: a certificate with a key, in NAME.pem and NAME.key
issue() {
    openssl req -new -newkey rsa:2048 -nodes -keyout $gate/"$1".key -out $gate/"$1".csr -subj "/CN=$1"
    echo "$2" >$gate/extensions
    openssl x509 -req -in $gate/"$1".csr -CA $gate/x509ca/ca.pem -CAkey $gate/ca.key -extfile $gate/extensions \
        -out $gate/"$1".pem -days 365
}

certificates() {
    openssl req -x509 -newkey rsa:2048 -nodes -keyout $gate/ca.key -out $gate/x509ca/ca.pem -days 365 -subj /CN=ca \
        -addext keyUsage=critical,keyCertSign,cRLSign
    issue gate 'subjectAltName = IP:192.168.8.2'
    issue anna 'keyUsage = digitalSignature'
    mv $gate/gate.pem $gate/x509/
    mv $gate/gate.key $gate/private/
    openssl pkcs12 -export -in $gate/anna.pem -inkey $gate/anna.key -certfile $gate/x509ca/ca.pem -name anna \
        -passout pass:secret -out $gate/anna.p12
}

gateway() {
    systemd-run --quiet --unit gate --setenv STRONGSWAN_CONF=$gate/strongswan.conf ip netns exec gate charon-systemd
    soon load_gateway $gate
}

policy() {
    printf '7654321\n1234567\n' | panelctl token init --label anna --so-pin-stdin --pin-stdin
    log_in
    echo secret | panelctl cert import $gate/anna.p12 --token anna --password-stdin
    panelctl token logout anna
    cat >$gate/office.lsp <<END
title = Office
version = 1
[office]
action = protect
network = 10.9.0.0/16
gateway = 192.168.8.2
subject = CN=anna
END
    panelctl policy source set --source SOURCE_FILE --file $gate/office.lsp
    soon panelctl policy activate system # when the engine has read the token
}

log_in() { echo 1234567 | panelctl token login anna --pin-stdin; }

tunnel_comes_up() {
    soon log_in
    soon tunnel_is up
    pings
    filter_is_there
}
nothing_passes() {
    filter_is_there
    if pings; then return 1; fi
}

cable
write_gateway $gate
certificates
gateway
systemctl disable --now strongswan # the daemon of its package owns port 500
mkdir -p /etc/systemd/system/panelkitd.service.d
cp /usr/share/panelkitd/engine-charon.conf /etc/systemd/system/panelkitd.service.d/
systemctl daemon-reload
systemd-analyze verify --man=no panelkitd.service
systemctl start panelkitd.socket
systemctl restart panelkitd
panelctl status | grep -q 'charon'
pings # the driver policy after the installation lets all pass
before=$(in_clear)

policy
nothing_passes
tunnel_comes_up
panelctl doctor

systemctl kill --kill-whom=main --signal=KILL panelkitd
nothing_passes
soon systemctl is-active panelkitd # systemd starts it again
tunnel_comes_up

systemctl stop panelkitd.socket panelkitd
systemctl show panelkitd --property=Result | grep -qx Result=success
if pgrep -u panelkit; then exit 1; fi
nothing_passes
systemctl start panelkitd.socket panelkitd
nothing_passes
tunnel_comes_up

dpkg --install /debs/*.deb # over the running service
filter_is_there
tunnel_comes_up
[ "$(in_clear)" = "$before" ]

dpkg --remove panelkitd
if nft list table inet panelkit; then exit 1; fi
pings
[ "$(in_clear)" -gt "$before" ]
[ -d /var/lib/panelkit ]
dpkg --purge panelkitd
[ ! -e /var/lib/panelkit ]
if getent passwd panelkit; then exit 1; fi
if nft list table inet panelkit; then exit 1; fi
echo passed
