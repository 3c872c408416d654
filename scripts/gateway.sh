# The gateway at the other end of a tunnel, for the demo and the trial of the packages: a plain charon with a configuration
# written by hand, in the network namespace "gate", and a cable to it. Needs root. bash and sh can source it.
#
#   here                            the namespace "gate"
#   w1: 192.168.8.1  -------------  w0: 192.168.8.2, and behind it 10.9.0.1

there() { ip netns exec gate "$@"; }

lay_cable() {
    ip netns add gate
    ip link set lo up
    ip link add w1 type veth peer name w0 netns gate
    ip addr add 192.168.8.1/24 dev w1
    ip link set w1 up
    ip route add default via 192.168.8.2
    there ip link set lo up
    there ip addr add 192.168.8.2/24 dev w0
    there ip addr add 10.9.0.1/32 dev lo
    there ip link set w0 up
}

# write_gateway FOLDER: writes its two configurations. It takes its certificate from FOLDER/x509/gate.pem, the key from
# FOLDER/private, and the authority from FOLDER/x509ca/ca.pem.
write_gateway() {
    mkdir -p "$1/x509" "$1/x509ca" "$1/private"
    cat >"$1/strongswan.conf" <<END
charon-systemd {
  load = random nonce drbg openssl aes gcm sha1 sha2 hmac kdf mgf1 gmp curve25519 pem pkcs1 pkcs8 x509 pubkey constraints revocation vici kernel-libipsec kernel-netlink socket-default
  journal { default = -1 }
  filelog { stderr { default = 1 } }
  plugins {
    vici { socket = "unix://$1/vici" }
    socket-default { fwmark = 7 }
    kernel-netlink { fwmark = !7 }
    kernel-libipsec { allow_peer_ts = yes }
  }
}
END
    cat >"$1/swanctl.conf" <<END
connections { office {
  encap = yes
  local { auth = pubkey
    certs = gate.pem
    id = 192.168.8.2 }
  remote { auth = pubkey
    cacerts = ca.pem }
  children { net { local_ts = 10.9.0.0/16 } }
} }
END
}

# load_gateway FOLDER: has the running charon load its connection; fails while charon is still starting.
load_gateway() {
    STRONGSWAN_CONF=$1/strongswan.conf SWANCTL_DIR=$1 \
        swanctl --load-all --noprompt --uri "unix://$1/vici" --file "$1/swanctl.conf"
}
