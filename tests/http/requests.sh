# shellcheck shell=bash
# Part of tests/http/run: what the HTTP interface answers, and what it refuses.

status() { curl -s -o "$scratch/body" -w '%{http_code}' --path-as-is "$@"; }
# answers STATUS CURL-ARGUMENT...: the request is answered with that status.
answers() {
    local expected=$1 actual
    shift
    actual=$(status "$@")
    equal "$actual" "$expected" || { cat "$scratch/body"; return 1; }
}
# patched JSON JQ-EXPRESSION VALUE: the change is made, and the expression then reads VALUE.
patched() { answers 204 -X PATCH -d "$1" "$url/board" && equal "$(state "$2")" "$3"; }
# refused JSON REASON: the change is not made, for that reason, and nothing else is either.
refused() {
    local before after
    before=$(settable)
    answers 400 -X PATCH -d "$1" "$url/board" && matches "$(cat "$scratch/body")" "$2" || return 1
    after=$(settable)
    equal "$after" "$before"
}
settable() { state "[.camera.plugged, .camera.source, .camera.faults, .battery, .card, .nand, .usb_host, .tv_cable, .lcdparams]"; }

check_requests() { check_reading; check_guard; check_changes; check_refusals; check_files; check_log; check_streams; }

check_reading() {
    local request
    check "GET / is the panel" matches "$(curl -s "$url/")" '<title>varnosv'
    check "the panel runs its own code only" matches "$(curl -sI "$url/" | tr -d '\r')" \
        "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self';"
    for request in panel.css files.js panel.js icon.svg; do check "GET /$request" answers 200 "$url/$request"; done
    check "GET /lcd.png is a 320x240 PNG" matches "$(curl -s "$url/lcd.png" | file -)" 'PNG image data, 320 x 240, 8-bit/color RGB'
    check "HEAD is answered without a body" equal "$(curl -sI "$url/lcd.png" | grep -ci '^content-type: image/png')" 1
    check "GET /board names every part" equal "$(state 'keys | join(" ")')" \
        "battery camera card commands display green_led lamp lcdparams nand power_off_requested powered_off program pxp rtc session tv_cable usb_host usb_units usb_violations watchdog"
    check "usb_units is a list of two texts" equal "$(state '.usb_units | [type, length, (.[0] | type)]')" '["array",2,"string"]'
    for request in "POST /board" "PUT /board" "DELETE /lcd.png" "POST /log" "GET /keys/enter" "GET /program/restart" \
        "PATCH /files/card" "POST /"; do
        check "wrong method: $request" answers 405 -X "${request% *}" -d '' "$url${request#* }"
    done
}

check_guard() {
    local path host origin
    for path in / /panel.js /lcd.png /lcd.mjpeg /log /files/card /files/nand/x /board /nothing; do
        check "a foreign Host on $path" answers 403 -H 'Host: example.org' "$url$path"
    done
    for host in 127.0.0.1.example.org localhost.example.org example.org:80 ''; do
        check "the Host '$host'" answers 403 -H "Host:${host:+ $host}" --http1.0 "$url/board"
    done
    for origin in http://example.org http://127.0.0.1:1 "https${url#http}" "$url.example.org" null; do
        check "the Origin $origin" answers 403 -X POST -H "Origin: $origin" -d '' "$url/keys/f1"
    done
    check "an empty Origin" answers 403 -X POST -H 'Origin;' -d '' "$url/keys/f1"
    check "a fetch of another site" answers 403 -H 'Sec-Fetch-Site: cross-site' -H 'Sec-Fetch-Mode: no-cors' "$url/lcd.png"
    check "a link on another site" answers 200 -H 'Sec-Fetch-Site: cross-site' -H 'Sec-Fetch-Mode: navigate' "$url/"
    for length in 2abc -2 $'2\r\nContent-Length: 3'; do
        check "the Content-Length '${length//[[:space:]]/ }'" answers 400 -X PATCH -H "Content-Length: $length" -d '{}' "$url/board"
    done
    check "a head that does not come to its end" within 8 dropped
    check "our own Origin" answers 204 -X PATCH -H "Origin: $url" -d '{}' "$url/board"
    check "localhost" answers 200 "${url/127.0.0.1/localhost}/board"
    check "only this PC is listened to" equal "$(listeners)" "0100007F:$(printf %04X "$port")"
    head -c 70000 /dev/zero | tr '\0' ' ' >"$scratch/large"
    check "a body too large" answers 413 -X PATCH --data-binary "@$scratch/large" "$url/board"
    check "a body of unknown length" answers 411 -X PATCH -H 'Transfer-Encoding: chunked' -d '{}' "$url/board"
    check "an address too long" answers 414 "$url/$(head -c 3000 /dev/zero | tr '\0' a)"
    # What follows a refused body on the same connection is never taken for a request.
    check "no request hides in a refused body" smuggle
}
# Who listens on the board's port, as the kernel writes addresses: 127.0.0.1 backwards.
listeners() {
    awk -v port=":$(printf %04X "$port")" '$4 == "0A" && substr($2, length($2) - 4) == port {print $2}' /proc/net/tcp /proc/net/tcp6
}
# A client that sends a byte now and then is left alone after a while.
dropped() {
    exec 9<>"/dev/tcp/127.0.0.1/$port"
    local status=0
    for _ in {1..14}; do
        printf G >&9 2>/dev/null || status=1
        sleep 0.5
    done
    exec 9>&-
    ((status))
}
smuggle() {
    local inner=$'PATCH /board HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 17\r\n\r\n{"usb_host":true}'
    printf "POST /keys/f1 HTTP/1.1\r\nHost: 127.0.0.1\r\nOrigin: http://example.org\r\nContent-Length: %d\r\n\r\n%s" \
        "${#inner}" "$inner" >"$scratch/request"
    exec 9<>"/dev/tcp/127.0.0.1/$port"
    # At one go: the board answers as soon as it has seen the head.
    cat "$scratch/request" >&9
    timeout 5 cat <&9 >"$scratch/answer"
    exec 9>&-
    equal "$(grep -c '^HTTP/1.1 ' "$scratch/answer")" 1 && matches "$(cat "$scratch/answer")" '^HTTP/1.1 403' &&
        equal "$(state .usb_host)" false
}

# changed_and_back MEMBER OTHER: it takes that value, and then its own again.
changed_and_back() {
    local before value
    before=$(state ".$1")
    for value in "$2" "$before"; do
        patched "$(jq -nc --arg member "$1" --argjson value "$value" 'setpath($member | split("."); $value)')" ".$1" "$value" || return 1
    done
}

check_changes() {
    local change display
    for change in battery.charger=true card.read_only=true tv_cable=true camera.plugged=false card.inserted=false nand.mounted=false \
        battery.millivolts=1500 card.write_ms=10000 'camera.faults=["dqbuf-eio","error-flag"]'; do
        check "$change" changed_and_back "${change%%=*}" "${change#*=}"
    done
    check "camera.source" patched "{\"camera\":{\"source\":\"file:$root/img/sd.png\"}}" '.camera.source | startswith("file:/")' true
    check "camera.source back" patched '{"camera":{"source":"scene"}}' '.camera.source' scene
    check "card.size_kib" patched '{"card":{"size_kib":524288}}' '[.card.size_kib, .card.free_kib]' '[524288,524288]'
    check "card.free_kib keeps the size" patched '{"card":{"free_kib":5000}}' '[.card.size_kib, .card.free_kib]' '[524288,5000]'
    check "both at once" patched '{"card":{"free_kib":123456,"size_kib":1048576}}' '[.card.size_kib, .card.free_kib]' '[1048576,123456]'
    check "both of the internal storage" patched '{"nand":{"size_kib":131072,"free_kib":54321}}' '[.nand.size_kib, .nand.free_kib]' '[131072,54321]'
    for display in tvenc_ntsc tvenc_pal lq035 ili9341; do
        patch "{\"lcdparams\":\"lcd_panel=$display\"}"
        check "lcdparams $display" equal "$(state .lcdparams) $(cat "$media/device/etc/lcdparams")" "lcd_panel=$display lcd_panel=$display"
    done
    check "rtc" patched '{"rtc":"2012-02-29T12:34:56"}' '.rtc | startswith("2012-02-29T12:3")' true
}

check_refusals() {
    local body
    for body in '{"usb_host":tru' '' $'{"camera":{"source":"\xff"}}' "$(printf '[%.0s' {1..30000})"; do
        check "no JSON: ${body:0:20}" refused "$body" 'no JSON'
    done
    for body in '{"battery":{"millivolts":1500.5}}' '{"card":{"free_kib":-1}}' '{"card":{"free_kib":99999999999999999999}}' \
        '{"card":{"write_ms":10001}}' '{"card":{"write_ms":"20"}}'; do
        check "a number out of range: $body" refused "$body" 'wants a whole number'
    done
    while IFS=% read -r body reason; do
        check "$body" refused "$body" "$reason"
    done <<'BODIES'
[1]%the body: wants an object
null%the body: wants an object
{"volume":3}%volume: cannot be set
{"camera":{"streaming":true}}%camera.streaming: cannot be set
{"watchdog":{"armed":false}}%watchdog: cannot be set
{"battery":2000}%battery: wants an object
{"tv_cable":1}%tv_cable: wants true or false
{"card":{"size_kib":10,"free_kib":11}}%card.size_kib: is less than
{"lcdparams":"lcd_panel=cinema"}%lcdparams: wants one of
{"lcdparams":7}%lcdparams: wants a text
{"camera":{"faults":["gremlin"]}}%no fault 'gremlin'
{"camera":{"source":"file:/nowhere.png"}}%camera.source: 
{"rtc":"2013-02-29T00:00:00"}%rtc: wants a time
{"battery":{"millivolts":1300},"camera":{"plugged":"no"}}%camera.plugged
BODIES
}

check_files() {
    local card=$media/card path
    mkdir -p "$card/DCIM"
    printf 'one' >"$card/DCIM/a b.jpg"
    printf 'two!' >"$card/DCIM/clip.avi"
    printf 'secret' >"$media/secret"
    ln -sf "$media/secret" "$card/link"
    ln -sf "$media" "$card/folder"
    mkfifo "$card/pipe"
    check "the files, sorted, without links and pipes" equal "$(curl -s "$url/files/card" | jq -c 'map([.path, .bytes])')" \
        '[["DCIM/a b.jpg",3],["DCIM/clip.avi",4]]'
    check "one file" equal "$(curl -s "$url/files/card/DCIM/a%20b.jpg")" one
    check "a part of one file" equal "$(curl -s -r 1-2 "$url/files/card/DCIM/clip.avi")" wo
    for path in ../secret ..%2fsecret DCIM/../../secret %2e%2e/secret link folder/secret /etc/passwd DCIM pipe nothing \
        "a%00b"; do
        check "not served: $path" answers 404 "$url/files/card/$path"
    done
    patch '{"card":{"inserted":false}}'
    for path in floppy card card/DCIM/clip.avi; do check "without a card: $path" answers 404 "$url/files/$path"; done
    patch '{"card":{"inserted":true}}'
    check "its files are back" answers 200 "$url/files/card/DCIM/clip.avi"
}

check_log() {
    check "the log holds what the program printed" within 10 logged 'val:255'
    local what
    check "the log from a byte on" equal "$(curl -s "$url/log?from=3" | head -c 20)" "$(curl -s "$url/log" | tail -c +4 | head -c 20)"
    check "the log yet to come" equal "$(curl -s "$url/log?from=999999999999")" ""
    check "a PATCH without a body is refused at once" answers 400 -m 2 -X PATCH "$url/board"
    for what in x -1 '' 1x; do check "the log from '$what'" answers 400 "$url/log?from=$what"; done
    check "an unknown key" answers 404 -X POST -d '' "$url/keys/f5"
    for what in f1 f1 left right up down; do check "key $what" answers 204 -X POST "$url/keys/$what"; done
}

check_streams() {
    local i lookers=()
    timeout 3 curl -sN "$url/lcd.mjpeg" >"$scratch/stream"
    check "the live picture is a stream of JPEG pictures that differ" differing_frames 5
    for i in {1..20}; do
        curl -sN -o /dev/null -w '%{http_code}\n' -m 2 "$url/lcd.mjpeg" >"$scratch/looker.$i" &
        lookers+=($!)
    done
    sleep 0.7
    check "streams leave room for other requests" answers 200 -m 1 "$url/board"
    wait "${lookers[@]}"
    check "too many streams are refused" equal "$(cat "$scratch"/looker.* | sort | uniq -c | xargs)" "12 200 8 503"
    # The board learns that a looker went away when it next writes to it.
    check "streams that ended make room" within 5 stream_opens
}
stream_opens() { [[ $(curl -sN -o /dev/null -w '%{http_code}' -m 0.5 "$url/lcd.mjpeg") == 200 ]]; }
differing_frames() {
    local count
    csplit -s -z -f "$scratch/frame." -n 4 "$scratch/stream" '/^--lcd/' '{*}'
    count=$(for part in "$scratch"/frame.*; do
        sed -e '1,/^\r$/d' "$part" >"$part.jpg"
        djpeg -pnm "$part.jpg" 2>/dev/null | md5sum
    done | sort -u | wc -l)
    echo "$count different pictures"
    ((count >= $1))
}
