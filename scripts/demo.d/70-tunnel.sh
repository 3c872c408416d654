# A tunnel with the engine "charon", in namespaces of its own: a second service, and a gateway at the other end of a cable
# (scripts/gateway.sh).
#
# The namespaces are those of the act's first process. When it ends or is killed, all of its processes, devices, rules and
# mounts are gone.

tunnel_lacks() {
    [[ $(id -u) == 0 ]] || { echo "only root can make network namespaces"; return; }
    local program
    for program in charon-systemd swanctl nft tcpdump ip ping; do
        type -P "$program" >/dev/null || { echo "the program $program is not installed"; return; }
    done
    [[ -c /dev/net/tun ]] || { echo "there is no /dev/net/tun"; return; }
    unshare --net --mount --pid --fork true 2>/dev/null || echo "namespaces can't be made here"
}

# shellcheck source=scripts/gateway.sh
source scripts/gateway.sh

cable() {
    mount -t tmpfs tmpfs /run # "ip netns" keeps its names here
    lay_cable
    there tcpdump --immediate-mode -U -Z root -n -i w0 -w "$day/wire.pcap" ip 2>"$day/capture.log" &
    until grep -q listening "$day/capture.log"; do sleep 0.05; done
}

start_gate() {
    write_gateway "$day/gate"
    cp "$pki/anna-gate.pem" "$day/gate/x509/gate.pem"
    cp "$pki/anna-gate.key" "$day/gate/private/gate.pem"
    cp "$pki/ca.pem" "$day/gate/x509ca/"
    STRONGSWAN_CONF=$day/gate/strongswan.conf there charon-systemd >"$day/gate.log" 2>&1 &
    for _ in $(seq 100); do
        load_gateway "$day/gate" >"$day/gate.load" 2>&1 && break
        sleep 0.1
    done
    grep -q "loaded connection 'office'" "$day/gate.load" || { cat "$day/gate.load" "$day/gate.log" >&2; exit 1; }
}

# tunnel_says TEXT: waits until "panelctl tunnel list" has the text.
tunnel_says() {
    for _ in $(seq 300); do
        "$bin/panelctl" tunnel list 2>/dev/null | grep -q "$1" && return
        sleep 0.1
    done
    panelctl tunnel list >&2
    cat "$day/service.log" >&2
    echo "demo: the tunnel does not say \"$1\"" >&2
    exit 1
}

on_the_wire() { # FILTER: the number of packets
    tcpdump -n -r "$day/wire.pcap" "$1" 2>/dev/null | wc -l
}

# shows that nothing for the protected network is readable on the wire
show_wire() {
    printf '\n# On the wire so far: %s packets of IKE and ESP in UDP, %s packets from or to 10.9.0.0/16 in clear\n' \
        "$(on_the_wire 'udp port 500 or udp port 4500')" "$(on_the_wire 'net 10.9.0.0/16')"
    [[ $(on_the_wire 'net 10.9.0.0/16') == 0 ]] || { echo "demo: a packet went out in clear" >&2; exit 1; }
}

prepare_tunnel() {
    mkdir "$day"
    cable
    start_gate
    start_service --engine charon
    printf '7654321\n1234567\n' >"$day/pins"
    panelctl token init --label anna --so-pin-stdin --pin-stdin <"$day/pins"
    panelctl token login anna --pin-stdin <<<'1234567'
    panelctl cert import "$pki/anna.p12" --token anna --password-stdin <<<'over-the-hills'
    panelctl crl import "$pki/before.crl" --token anna
    panelctl token logout anna
    panelctl config set IKE.CRL_PROCESSING "Enabled, revoke also if CRL not available" --commit
    cat >"$day/office.lsp" <<POLICY
title   = Office
version = 1

[headquarters]
action  = protect
network = 10.9.0.0/16
gateway = 192.168.8.2
subject = O=Office,CN=Anna

[rest]
action  = drop
network = 10.0.0.0/8
POLICY
}

tunnel_act() {
    set -euo pipefail
    day=$day/tunnel
    export PANELKIT_BRIDGE=$day/bridge.sock
    quietly_prepared || exit 1
    chapter "A tunnel: a gateway, a token with a key, and a policy that protects"
    cat "$day/office.lsp"
    run panelctl policy source set --source SOURCE_FILE --file "$day/office.lsp"
    for _ in $(seq 50); do # until the engine has read the token
        panelctl policy activate system >/dev/null 2>&1 && break
        sleep 0.1
    done
    run panelctl policy activate system
    refused 1 ping -n -c 1 -W 1 10.9.0.1
    run panelctl tunnel list
    run panelctl token login anna --pin-stdin <<<'1234567'
    tunnel_says "^headquarters *up " # and not "being set up"
    run panelctl tunnel show headquarters
    run ping -n -c 3 -i 0.2 -W 2 10.9.0.1
    printf '\n$ tcpdump     # the last packets on the wire\n'
    tcpdump -n -t -r "$day/wire.pcap" 2>/dev/null | tail -4
    show_wire

    chapter "A new revocation list: it has the gateway's certificate"
    run panelctl crl import "$pki/after.crl" --token anna
    tunnel_says "192.168.8.2 is revoked$"
    run panelctl tunnel show headquarters
    refused 1 ping -n -c 2 -i 0.2 -W 1 10.9.0.1
    show_wire
    printf '\n$ nft list counters table inet panelkit     # what the sections passed and dropped\n'
    nft list counters table inet panelkit
    run panelctl policy show
}

quietly_prepared() {
    (prepare_tunnel) >"$day.log" 2>&1 || { cat "$day.log" >&2; return 1; }
}

make_tunnel_files() {
    issue anna Anna -days 300
    issue anna-gate gate.example -days 300
    openssl pkcs12 -export -in "$pki/anna.pem" -inkey "$pki/anna.key" -certfile "$pki/ca.pem" -name anna \
        -out "$pki/anna.p12" -passout env:FILE_PASSWORD
    openssl ca -config "$pki/ca.conf" -gencrl -out "$pki/before.crl"
    openssl ca -config "$pki/ca.conf" -revoke "$pki/anna-gate.pem"
    openssl ca -config "$pki/ca.conf" -gencrl -out "$pki/after.crl"
}

# At most 40 seconds.
play_tunnel_act() {
    FILE_PASSWORD=over-the-hills quietly make_tunnel_files
    export bin day pki
    export -f chapter run refused panelctl start_service tunnel_act quietly_prepared prepare_tunnel cable start_gate \
        there lay_cable write_gateway load_gateway tunnel_says on_the_wire show_wire
    unshare --net --mount --pid --fork --kill-child --mount-proc bash -c tunnel_act &
    act=$!
    for _ in $(seq 1200); do
        kill -0 "$act" 2>/dev/null || break
        sleep 0.1
    done
    kill -0 "$act" 2>/dev/null && { echo "demo: the tunnel takes longer than two minutes" >&2; exit 1; }
    wait "$act" || exit 1
    act=
}

lacks=$(tunnel_lacks)
if [[ -n "$lacks" ]]; then
    chapter "A tunnel"
    echo "Left out: $lacks."
else
    play_tunnel_act
fi
