# shellcheck shell=bash
# Part of tests/http/run: what the board's events do to the program, end to end.
# region X Y WIDTH HEIGHT: what the LCD shows there, as a number that stands for it.
region() { curl -s "$url/lcd.png" | convert png:- -crop "$3x$4+$1+$2" +repage -depth 8 rgb:- | md5sum; }
storage_symbol() { region 259 6 28 21; }
battery_symbol() { region 294 6 21 17; }
counter() { region 3 34 56 16; }
changed() { [[ $("$1") != "$2" ]]; }
shows() { [[ $("$1") == "$2" ]]; }
patch() { curl -s -X PATCH -d "$1" "$url/board"; }
frames_stop() { local before; before=$(state .pxp.frames); sleep 1; state_is .pxp.frames "$before"; }
frames_run() { local before; before=$(state .pxp.frames); sleep 0.5; (($(state .pxp.frames) > before)); }
live() { within 20 state_is '.camera.streaming and .pxp.streaming' true && within 10 back_in_view && within 5 frames_run; }
log_from() { curl -s "$url/log?from=$1"; }
log_end() { curl -s "$url/log" | wc -c; }
logged_since() { log_from "$1" | grep -- "$2" >/dev/null; }

# What the program makes of the board's events, on the LCD and in its log; before a plain picture, so that only symbols change.
check_effects() {
    local before fault from
    convert -size 640x480 xc:gray50 "$scratch/plain.png"
    patch "{\"camera\":{\"source\":\"file:$scratch/plain.png\"},\"card\":{\"size_kib\":1048576}}"
    check "live view of a picture" live
    sleep 3
    before=$(storage_symbol) from=$(log_end)
    patch '{"card":{"inserted":false}}'
    check "a pulled card's symbol goes" within 4 changed storage_symbol "$before"
    patch '{"card":{"inserted":true}}'
    check "an inserted card's symbol comes" within 4 shows storage_symbol "$before"
    check "the program tells that it found the card" within 3 logged_since "$from" 'Found sd card on /media/sd-mmcblk0p1'

    before=$(battery_symbol)
    patch '{"battery":{"charger":true}}'
    check "the charger shows" within 4 changed battery_symbol "$before"
    patch '{"battery":{"charger":false}}'
    check "the charger gone shows" within 4 shows battery_symbol "$before"

    before=$(counter) from=$(log_end)
    patch '{"card":{"free_kib":4008}}'
    check "the free space shows as a count" within 3 logged_since "$from" '^Avail space 7$'
    check "the count is on the LCD" within 2 changed counter "$before"

    for fault in dqbuf-stuck dqbuf-eio streamon-refused qbuf-refused; do
        patch "{\"camera\":{\"faults\":[\"$fault\"]}}"
        # A refusal shows when streaming starts the next time.
        [[ $fault == *refused ]] && patch '{"camera":{"plugged":false}}' && sleep 1 && patch '{"camera":{"plugged":true}}'
        check "$fault stops the picture" within 10 frames_stop
        patch '{"camera":{"faults":[]}}'
        check "$fault gone, it goes on" live
    done
    from=$(log_end)
    patch '{"camera":{"plugged":false}}'
    check "an unplugged camera stops the picture" within 10 frames_stop
    patch '{"camera":{"plugged":true}}'
    check "plugged in again, it goes on" live
    check "the program tells of it" logged_since "$from" 'UVC_STATUS_DISCONNECTED'

    patch '{"card":{"read_only":true}}'
    before=$(curl -s "$url/files/card")
    press enter
    sleep 1
    check "a still on a write-protected card leaves the program alive" live
    check "and the card as it was" equal "$(curl -s "$url/files/card")" "$before"
    patch '{"card":{"read_only":false,"size_kib":1048576},"camera":{"source":"scene"}}'
}

offered() { state_is '[.usb_units, .card.handed_over, .nand.handed_over]' "$1"; }
all_offered='[["/dev/loop0","/dev/mmcblk0p1"],true,true]'
none_offered='[["",""],false,false]'
right() { check "no use of a lent medium: $1" equal "$(state .usb_violations)" 0; }
frames_of() { ffprobe -v error -count_frames -select_streams v -show_entries stream=nb_read_frames -of csv=p=0 "$1"; }
# The newest film has as many frames as its length lets expect.
readable_film() {
    local film bytes
    film=$(newest avi)
    curl -s -o "$scratch/film.avi" "$url/files/card/$film"
    bytes=$(stat -c %s "$scratch/film.avi")
    echo "$film: $bytes bytes, $(frames_of "$scratch/film.avi") frames"
    (($(frames_of "$scratch/film.avi") >= 10 && $(frames_of "$scratch/film.avi") >= bytes / 153608 - 2))
}
start_film() {
    rm -f "$media"/card/DCIM/*.avi
    press f3
    sleep 0.5
    press enter
    within 20 grown
}

check_usb() {
    patch '{"usb_host":true}'
    check "a PC at the cable is offered both media" within 5 offered "$all_offered"
    check "their files can still be looked at" answers 200 "$url/files/card"
    sleep 2
    right "in its hands"
    patch '{"usb_host":false}'
    check "the cable pulled, all comes back" within 8 offered "$none_offered"
    check "live view is back after the PC" live
    check "the media were mounted anew" equal "$(state '[.card.mounted, .nand.mounted]')" '[true,true]'
    right "before and after"

    check "a film is being recorded" start_film
    patch '{"usb_host":true}'
    check "the cable amid a recording" within 8 offered "$all_offered"
    check "the film that was cut short is readable" readable_film
    patch '{"card":{"inserted":false}}'
    check "a card pulled meanwhile" equal "$(state '[.card.inserted, .card.handed_over, .usb_units[1]]')" '[false,false,"/dev/mmcblk0p1"]'
    patch '{"usb_host":false}'
    check "the cable pulled after it" within 8 offered "$none_offered"
    check "live view is back without the card" live
    patch '{"usb_host":true}'
    check "without a card one drive is offered" within 5 offered '[["/dev/loop0",""],false,true]'
    patch '{"usb_host":false,"card":{"inserted":true}}'
    check "the card back in with the cable's end" within 8 offered "$none_offered"
    check "live view is back with the card" live

    press f3
    sleep 0.5
    press enter
    patch '{"usb_host":true}'
    check "the cable amid a still" within 10 offered "$all_offered"
    patch '{"usb_host":false}'
    check "all back after it" within 8 offered "$none_offered"
    check "live view is back after all" live
    right "all along"
}

# One colour all over, but for the last line, which is kept black.
plain() { [[ $(curl -s "$url/lcd.png" | convert png:- -crop 320x239+0+0 -format %k info:) == 1 ]]; }

check_tv() {
    patch "{\"lcdparams\":\"lcd_panel=tvenc_pal\",\"tv_cable\":true,\"camera\":{\"source\":\"file:$scratch/plain.png\"}}"
    check "the running program stays on the LCD" equal "$(state .display)" lcd_panel=ili9341
    check "a start on the TV" answers 204 -X POST "$url/program/restart"
    check "the display is the TV" equal "$(state .display)" lcd_panel=tvenc_pal
    check "the program looks at the cable" within 5 logged 'TV out Line: 1'
    check "its picture runs" within 20 frames_run
    check "nothing lies over it" within 5 plain
    local lamp
    lamp=$(state .lamp)
    press right
    sleep 1
    check "keys do nothing" equal "$(state .lamp)" "$lamp"
    patch '{"lcdparams":"lcd_panel=ili9341","tv_cable":false,"camera":{"source":"scene"}}'
    check "a start on the LCD" answers 204 -X POST "$url/program/restart"
    check "live view is back on it" live
}

check_power_cuts() {
    check "a film is being recorded" start_film
    patch '{"battery":{"millivolts":1200}}'
    # The program reckons with the mean of eight readings, two seconds apart.
    check "an empty battery switches off" within 60 state_is '[.powered_off, .program.running]' '[true,false]'
    check "its dark LCD" equal "$(curl -s "$url/lcd.png" | identify -format '%[fx:maxima]' png:-)" 0
    check "told before" logged 'Voltage is too low!power off'
    patch '{"battery":{"millivolts":2046}}'
    check "a new battery" answers 204 -X POST "$url/program/restart"
    check "live view with it" live
    check "the film of the power cut is readable" readable_film

    check "another film" start_film
    local before
    before=$(program_pid)
    check "the watchdog is armed" state_is '[.watchdog.armed, .watchdog.resets]' '[true,0]'
    kill -STOP "$before"
    check "a program that hangs is reset by the watchdog" within 40 state_is .watchdog.resets 1
    check "the reset started another process" within 5 changed_pid "$before"
    check "the hanging one is gone" gone "$before"
    check "live view after the reset" live
    check "the film of the reset is readable" readable_film
}
