# The service's configuration: typed parameters.
chapter "The present configuration"
run panelctl config list CERTMON PCAP
run panelctl config describe IKE.NATT_POLICY
run panelctl config describe UPDATE.VERIFY_DOWNLOADS

chapter "The usual mistakes, each with an exit code of its own"
refused 50 panelctl config set IKE.EXCHANGE_TIMEOUT 301
refused 51 panelctl config set IKE.NATT_POLICY Autodetct
refused 52 panelctl config set PCAP.THREADS_MASK 0,,1
refused 10 panelctl config set IKE.EXCHANGE_TIMOUT 90
refused 2 panelctl config set CERTMON.SMTP_PASSWORD hunter2

chapter "Changing one parameter, and a secret"
run panelctl config set IKE.EXCHANGE_TIMEOUT 90
run panelctl config set CERTMON.SMTP_PASSWORD --value-stdin <<<'hunter2'
run panelctl config get CERTMON.SMTP_PASSWORD
run panelctl config set IKE.QCD_SECRET auto

chapter "Changing many, from a file: first the plan, then all of it or nothing"
cat >"$day/office.json" <<'EOF'
{
  "IKE": {
    "NATT_POLICY": "NATT_POLICY_STD_PORT",
    "DPD_IDLE_TIME": 601
  },
  "CERTMON": {"DAYS_TO_EXPIRE": 14, "CHECKING_TIME": "06:30"},
  "LOG": {"LOG_LEVEL": {"value": 2, "name": "_LL_DETAILS"}}
}
EOF
run cat "$day/office.json"
refused 50 panelctl config plan "$day/office.json"
sed -i 's/601/60/' "$day/office.json"
run panelctl config plan "$day/office.json"
run panelctl config apply "$day/office.json"
run panelctl config plan "$day/office.json"

chapter "Making it permanent"
run panelctl config commit
run panelctl config diff
run panelctl config export CERTMON LOG.LOG_LEVEL
run panelctl config reset LOG CERTMON.CHECKING_TIME --commit
