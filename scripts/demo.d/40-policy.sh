# The local security policy, and the host's interfaces. The demo's user settings are in a folder of its own.
export PANELKIT_USER_DIR=$day/user

chapter "The host's network interfaces"
run panelctl net list

chapter "The driver policy is in force until another one is activated"
run panelctl policy status
run panelctl policy activate driver --name drop-all-except-dhcp
run panelctl policy status

chapter "A policy file with a mistake"
cat >"$day/office.lsp" <<'POLICY'
title   = Office
version = 1.2

[headquarters]
action         = protect
network        = 10.0.0.0/8
gateway        = gate.example.com
authentication = preshared-key
key            = headquarters

[dhcp]
action   = pas
protocol = udp
port     = 67..68
POLICY
run panelctl policy source set --source SOURCE_FILE --file "$day/office.lsp"
refused 70 panelctl policy activate system
run panelctl policy show

chapter "The corrected file; its preshared key is still missing"
sed -i 's/= pas$/= pass/' "$day/office.lsp"
run panelctl policy activate system
run panelctl policy status
run panelctl policy explain
run panelctl policy view

chapter "A policy of the user's own"
sed 's/^title.*/title = On the road/; /headquarters/,/^$/d' "$day/office.lsp" >"$day/road.lsp"
run panelctl policy source set --user --source SOURCE_FILE --file "$day/road.lsp"
run panelctl policy activate user
run panelctl policy status

chapter "After a restart of the service the policy is the same"
kill "$service" && wait "$service"
"$bin/panelkitd" --endpoint "$PANELKIT_BRIDGE" --state "$day/state" 2>>"$day/service.log" &
service=$!
for _ in $(seq 100); do
    panelctl policy status >/dev/null 2>&1 && break
    sleep 0.05
done
run panelctl policy show
run panelctl policy status --json
