# shellcheck shell=bash
# Part of tests/http/run: what keys and the board's events do to the program, end to end.

patch() { curl -s -X PATCH -d "$1" "$url/board"; }
press() { curl -s -o /dev/null -X POST "$url/keys/$1"; }
# after JSON NAME COMMAND...: once that is changed, the command soon succeeds.
after() { patch "$1"; check "$2" within 10 "${@:3}"; }
restarted() { answers 204 -X POST -d '' "$url/program/restart"; }

# region X Y WIDTH HEIGHT: what the LCD shows there, as a number that stands for it.
region() { curl -s "$url/lcd.png" | convert png:- -crop "$3x$4+$1+$2" +repage -depth 8 rgb:- | md5sum; }
storage_symbol() { region 259 6 28 21; }
battery_symbol() { region 294 6 21 17; }
counter() { region 3 34 56 16; }
changed() { [[ $("$1") != "$2" ]]; }
shows() { [[ $("$1") == "$2" ]]; }

frames_stop() { local before; before=$(state .pxp.frames); sleep 0.5; state_is .pxp.frames "$before"; }
frames_run() { local before; before=$(state .pxp.frames); sleep 0.2; (($(state .pxp.frames) > before)); }
streaming() { state_is '.camera.streaming and .pxp.streaming' true; }
live() { within 20 streaming && within 10 back_in_view && within 5 frames_run; }
back_in_view() { [[ $(curl -s "$url/log" | grep -o 'new: CAM_STATUS_[A-Z_]*' | tail -n 1) == 'new: CAM_STATUS_VIEW' ]]; }
# All of the log is read: a reader that leaves early makes curl fail.
logged() { curl -s "$url/log?from=${2:-0}" | grep -- "$1" >/dev/null; }
log_end() { curl -s "$url/log" | wc -c; }

newest() { curl -s "$url/files/card" | jq -r --arg suffix ".$1" '[.[] | select(.path | endswith($suffix))] | sort_by(.modified) | last.path // ""'; }
has_still() { [[ -n $(newest jpg) ]]; }
film_grew() { (($(curl -s "$url/files/card" | jq '[.[] | select(.path | endswith(".avi")) | .bytes] | max // 0') > 153600 * 10)); }
start_film() {
    rm -f "$media"/card/DCIM/*.avi
    press f3
    sleep 0.5
    press enter
    within 20 film_grew
}
frames_of() { ffprobe -v error -count_frames -select_streams v -show_entries stream=nb_read_frames -of csv=p=0 "$1"; }
# The newest film has as many frames as its length lets expect.
readable_film() {
    local film bytes frames
    film=$(newest avi)
    curl -s -o "$scratch/film.avi" "$url/files/card/$film"
    bytes=$(stat -c %s "$scratch/film.avi")
    frames=$(frames_of "$scratch/film.avi")
    echo "$film: $bytes bytes, $frames frames"
    ((frames >= 10 && frames >= bytes / 153608 - 2))
}
plain_picture() {
    convert -size 640x480 xc:gray50 "$scratch/plain.png"
    patch "{\"camera\":{\"source\":\"file:$scratch/plain.png\"}}"
}

check_recording() {
    press enter
    check "a still by key" within 20 has_still
    check "live view is back after it" within 20 back_in_view
    curl -s -o "$scratch/still.jpg" "$url/files/card/$(newest jpg)"
    check "it is a JPEG picture" matches "$(djpeg -pnm "$scratch/still.jpg" | head -c 15 | xargs)" '^P6 640 480'
    check "a film by key" start_film
    press enter
    check "live view is back after the film" within 20 back_in_view
    check "the film is readable" readable_film
    check "the film's format" equal \
        "$(ffprobe -v error -select_streams v -show_entries stream=codec_name,pix_fmt,width,height -of csv=p=0 "$scratch/film.avi")" \
        rawvideo,320,240,yuyv422

    local before
    before=$(program_pid)
    check "restart" restarted
    check "the restarted program is another process" changed_pid "$before"
    check "the one before is gone" gone "$before"
    check "it ended as asked to" within 5 logged 'Exit varnosv program!!!!!'

    kill -SEGV "$(program_pid)"
    check "a crash is told" within 5 state_is '[.program.running, .program.exit_status]' '[false,139]'
    check "the board outlives it" answers 200 "$url/lcd.png"
    check "keys of a program that is gone are taken" answers 204 -X POST -d '' "$url/keys/f1"
    check "restart after a crash" restarted
    check "live view is back after the crash" live

    # The dialog that tells of the request confirms it after a while, or at a key; the device is off then.
    check "a power-off is asked for" patched '{"power_off_requested":true}' '.power_off_requested' true
    check "the program confirms it" within 30 state_is '[.powered_off, .program.running, .program.exit_status]' '[true,false,null]'
    check "the LCD is dark" dark
    check "nothing shines or runs" equal \
        "$(state '[.lamp, .green_led, .camera.streaming, .pxp.streaming, .watchdog.armed]')" '[0,0,false,false,false]'
    check "restart switches it on again" restarted
    check "it is on, and asked for nothing" equal "$(state '[.powered_off, .power_off_requested, .program.running]')" '[false,false,true]'
    check "live view is back after the power-off" live
}
program_pid() { pgrep -P "$board"; }
changed_pid() { local now; now=$(program_pid) && [[ -n $now && $now != "$1" ]]; }
dark() { equal "$(curl -s "$url/lcd.png" | identify -format '%[fx:maxima]' png:-)" 0; }

# What the program makes of the board's events, on the LCD and in its log; before a plain picture, so that only symbols change.
check_card() {
    local before from
    plain_picture
    after '{"card":{"size_kib":1048576}}' "live view of a picture" live
    check "the program found the card" within 10 logged 'Found sd card on /media/sd-mmcblk0p1'
    sleep 0.5
    before=$(storage_symbol) from=$(log_end)
    after '{"card":{"inserted":false}}' "a pulled card's symbol goes" changed storage_symbol "$before"
    after '{"card":{"inserted":true}}' "an inserted card's symbol comes" shows storage_symbol "$before"
    check "the program tells that it found the card again" within 3 logged 'Found sd card on /media/sd-mmcblk0p1' "$from"

    before=$(battery_symbol)
    after '{"battery":{"charger":true}}' "the charger shows" changed battery_symbol "$before"
    after '{"battery":{"charger":false}}' "the charger gone shows" shows battery_symbol "$before"

    before=$(counter) from=$(log_end)
    after '{"card":{"free_kib":4008}}' "the free space shows as a count" logged '^Avail space 7$' "$from"
    check "the count is on the LCD" within 2 changed counter "$before"

    patch '{"card":{"read_only":true}}'
    before=$(curl -s "$url/files/card") from=$(log_end)
    press enter
    check "a still on a write-protected card ends" within 10 logged 'new: CAM_STATUS_VIEW' "$from"
    check "the program lives on" live
    check "and the card is as it was" equal "$(curl -s "$url/files/card")" "$before"
}

check_camera() {
    local fault from
    for fault in dqbuf-stuck dqbuf-eio streamon-refused qbuf-refused; do
        patch "{\"camera\":{\"faults\":[\"$fault\"]}}"
        # A refusal shows when streaming starts the next time.
        [[ $fault == *refused ]] && patch '{"camera":{"plugged":false}}' && sleep 1 && patch '{"camera":{"plugged":true}}'
        check "$fault stops the picture" within 10 frames_stop
        after '{"camera":{"faults":[]}}' "$fault gone, it goes on" live
    done
    from=$(log_end)
    after '{"camera":{"plugged":false}}' "an unplugged camera stops the picture" frames_stop
    after '{"camera":{"plugged":true}}' "plugged in again, it goes on" live
    check "the program tells of it" logged 'UVC_STATUS_DISCONNECTED' "$from"
    check "a film is being recorded" start_film
    after '{"camera":{"plugged":false}}' "a camera pulled amid it stops the picture" frames_stop
    after '{"camera":{"plugged":true}}' "live view comes back" live
    check "the film is readable" readable_film
}

offered() { state_is '[.usb_units, .card.handed_over, .nand.handed_over]' "$1"; }
none_offered='[["",""],false,false]'

check_usb() {
    check "a film is being recorded" start_film
    after '{"usb_host":true}' "a PC at the cable is offered both media" offered '[["/dev/loop0","/dev/mmcblk0p1"],true,true]'
    check "their files can still be looked at" answers 200 "$url/files/card"
    check "the film that was cut short is readable" readable_film
    patch '{"card":{"inserted":false}}'
    check "a card pulled meanwhile" equal "$(state '[.card.inserted, .card.handed_over, .usb_units[1]]')" '[false,false,"/dev/mmcblk0p1"]'
    after '{"usb_host":false}' "the cable pulled after it" offered "$none_offered"
    check "live view is back without the card" live
    after '{"usb_host":true}' "without a card one drive is offered" offered '[["/dev/loop0",""],false,true]'
    sleep 1
    after '{"usb_host":false,"card":{"inserted":true}}' "the card back in with the cable's end" offered "$none_offered"
    check "live view is back with the card" live
    check "the media were mounted anew" within 5 state_is '[.card.mounted, .nand.mounted]' '[true,true]'
    check "no use of a lent medium" equal "$(state .usb_violations)" 0
}

check_tv_and_ends() {
    local before looker
    patch '{"lcdparams":"lcd_panel=tvenc_pal","tv_cable":true}'
    check "the running program stays on the LCD" equal "$(state .display)" lcd_panel=ili9341
    check "a start on the TV" restarted
    check "the display is the TV" equal "$(state .display)" lcd_panel=tvenc_pal
    check "the program looks at the cable" within 5 logged 'TV out Line: 1'
    check "its picture runs" within 20 frames_run
    curl -sN "$url/lcd.mjpeg" >"$scratch/last" &
    looker=$!
    check "SIGINT ends the board and the program, with status 0" ends_well INT
    check "a stream ends with it" within 2 gone "$looker"
    check "the board starts again" start_board || return
    before=$(program_pid)
    kill -KILL "$board"
    check "a board that is killed takes the program along" within 5 gone "$before"
    board=
}

check_battery() {
    check "a film is being recorded" start_film
    patch '{"battery":{"millivolts":1200}}'
    # The program reckons with the mean of eight readings, two seconds apart.
    check "an empty battery switches off" within 60 state_is '[.powered_off, .program.running]' '[true,false]'
    check "its dark LCD" dark
    check "told before" logged 'Voltage is too low!power off'
    patch '{"battery":{"millivolts":2046}}'
    check "a new battery" restarted
    check "live view with it" live
    check "the film of the power cut is readable" readable_film
}

check_watchdog() {
    local before
    check "a film is being recorded" start_film
    before=$(program_pid)
    check "the watchdog is armed" state_is '[.watchdog.armed, .watchdog.resets]' '[true,0]'
    kill -STOP "$before"
    check "a program that hangs is reset by the watchdog" within 40 state_is .watchdog.resets 1
    check "the reset started another process" within 5 changed_pid "$before"
    check "the hanging one is gone" gone "$before"
    check "live view after the reset" live
    check "the film of the reset is readable" readable_film
}
