# Shows the events of the service; also while it restarts.
chapter "Watching the service"
printf '\n$ panelctl watch &\n$ panelctl --lang ru watch &\n'
"$bin/panelctl" watch >"$day/watched" 2>"$day/watching" &
watching=$!
"$bin/panelctl" --lang ru watch >"$day/watched.ru" 2>"$day/watching.ru" &
watchingInRussian=$!

# seen FILE TEXT: waits until the watcher has printed it.
seen() {
    for _ in $(seq 200); do
        grep -q "$2" "$1" && return
        sleep 0.05
    done
    echo "demo: watch does not say \"$2\"" >&2
    exit 1
}
seen "$day/watching" "Watching"
seen "$day/watching.ru" "."
run panelctl token login "Office Офис" --pin-stdin <<<'2345678'
run panelctl token logout "Office Офис"
seen "$day/watched" "is logged out of"
run panelctl config set IKE.EXCHANGE_TIMEOUT 75
run panelctl config commit
seen "$day/watched" "committed the configuration"
run panelctl policy activate driver --name pass-all
seen "$day/watched" "is in force"

printf '\n$ kill %s     # the service\n' "$service"
kill "$service"
wait "$service"
seen "$day/watched" "Lost the connection to the service"
mv "$day/service.log" "$day/service.log.before" # start_service waits for a line in a new one
start_service
cat "$day/service.log.before" "$day/service.log" >"$day/service.log.whole"
cat "$day/service.log.whole" >"$day/service.log"
seen "$day/watched" "The service is running"
seen "$day/watched.ru" "Служба "
kill "$watching" "$watchingInRussian"
wait "$watching" "$watchingInRussian"
printf '\n'
cat "$day/watched"
printf '\n'
cat "$day/watched.ru"
