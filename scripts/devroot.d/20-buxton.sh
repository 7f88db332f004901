# The buxton store's files: the four base databases with the platform's keys,
# their backup copies under /etc/buxton2, and the store's working directory.
# A cross build's seed runs through the build's emulator (build/launcher).
seed=$BUILD/buxton-seed
launcher=$BUILD/launcher
if [ ! -x "$seed" ] || [ ! -x "$launcher" ]; then
    echo "devroot: $seed is missing; build the project first" >&2
    exit 1
fi

base=$DEVROOT/var/lib/buxton2_base
mkdir -p "$base" "$DEVROOT"/etc/buxton2 "$DEVROOT"/var/lib/buxton2

pub=http://tizen.org/privilege/internal/default/public
plat=http://tizen.org/privilege/internal/default/platform

# KEY|TYPE|VALUE|READ PRIVILEGE|WRITE PRIVILEGE|SETTER; no SETTER field:
# a record of the older layout, as written by earlier platform releases.
"$launcher" "$seed" "$base"/system.db <<KEYS
db/setting/lang|int32|2|$pub|http://tizen.org/privilege/systemsettings.admin|System
db/setting/lang_automatic|bool|0|$pub|http://tizen.org/privilege/systemsettings.admin|System
db/setting/timezone_id|string|Asia/Seoul|$pub|http://tizen.org/privilege/systemsettings.admin|System
db/setting/timezone|string|+9:00|$pub|http://tizen.org/privilege/systemsettings.admin|System
db/setting/automatic_time_update|bool|1|$pub|http://tizen.org/privilege/systemsettings.admin|System
db/setting/lcd_backlight_normal|int32|30|$pub|$plat|System::Privileged
db/setting/automatic_brightness_level|int32|50|$pub|$plat|System::Privileged
db/setting/sound/media/sound_volume|int32|9|$pub|$plat|User
db/setting/sound/noti/msg_ringtone_path|string|/opt/share/settings/Alerts/General notification_sdk.wav|$pub|$plat|User
db/setting/sound/sound_on|bool|1|$pub|$plat|User
db/setting/accessibility/font_name|string|HelveticaNeue|$pub|$plat|User
db/setting/accessibility/font_size|int32|1|$pub|$plat|User
db/menu_widget/language|string|en_US.UTF-8|$pub|$plat|System
db/menu_widget/regionformat_time1224|int32|1|$pub|$plat|System
db/aul/socket_timeout|double|5.2|$pub|$plat|System
db/bluetooth/status|int32|0|$pub|$plat|System
db/location/gps/XtraDownloadTime|double|1717056000.0|$plat|$plat|System
db/lockscreen/wallpaper_count|uint32|3|$plat|$plat|User
db/system/timechange|int64|-32400|$pub|$plat|System
db/mtp/sync_time|int64|1717056000|$plat|$plat|System
db/dnet/statistics/wifi/totalrcv|uint64|12884901888|$plat|$plat|System::Privileged
db/dnet/statistics/wifi/totalsnt|uint64|1073741824|$plat|$plat|System::Privileged
file/camera/shutter_sound_policy|int32|0|$pub|$plat|System
db/ciss/show_my_number|int32|0|$plat|$plat
db/setting/screen_lock_type|int32|1|$pub|$plat
db/menu_widget/bgset|string|/opt/share/settings/Wallpapers/Home_default.jpg|$pub|$plat
KEYS

"$launcher" "$seed" "$base"/memory.db <<KEYS
memory/pm/state|int32|1|$pub|$plat|System
memory/pm/current_brt|int32|60|$pub|$plat|System
memory/pm/battery_timetoempty|int32|-1|$pub|$plat|System
memory/pm/brt_changed_lpm|bool|0|$plat|$plat|System
memory/sysman/stime_changed|int32|0|$pub|$plat|System
memory/system/timechanged|int32|0|$pub|$plat|System
memory/setting/usb_mode|int32|-1|$pub|$plat|System
memory/bluetooth/btsco|bool|0|$plat|$plat|System
memory/boot_animation/finished|int32|1|$plat|$plat|System
memory/location/last/gps/Latitude|double|37.5665|$plat|$plat|System
memory/location/last/gps/Longitude|double|126.978|$plat|$plat|System
memory/private/data-provider-master/restart_count|uint32|0|$plat|$plat|System
memory/call/state|int32|0|$pub|http://tizen.org/privilege/systemsettings.admin|System
memory/camera/state|int32|0|$pub|http://tizen.org/privilege/internal/buxton/camcorder|System
memory/telephony/sim_slot_count|int32|-1|$pub|$plat
memory/wifi/state|int32|0|$pub|$plat
KEYS

"$launcher" "$seed" "$base"/system_factory.db <<KEYS
db/setting/lang|int32|2|$pub|http://tizen.org/privilege/systemsettings.admin|System
db/setting/timezone_id|string|Asia/Seoul|$pub|http://tizen.org/privilege/systemsettings.admin|System
db/setting/lcd_backlight_normal|int32|30|$pub|$plat|System
db/setting/sound/sound_on|bool|1|$pub|$plat|System
db/menu_widget/language|string|en_US.UTF-8|$pub|$plat
KEYS

"$launcher" "$seed" "$base"/system_service.db <<KEYS
db/setting/automatic_brightness_level|int32|50|$pub|$plat|System::Privileged
db/setting/region_automatic|bool|1|$pub|$plat|System
db/mtp/sync_time|int64|0|$plat|$plat|System
db/dnet/statistics/wifi/totalsnt|uint64|0|$plat|$plat|System::Privileged
db/aul/socket_timeout|double|5.2|$pub|$plat
KEYS

for db in system memory system_factory system_service; do
    cp "$base/$db.db" "$DEVROOT/etc/buxton2/$db.db"
done

# On the device the store's own account owns its files (375 is the uid of
# the device's buxton account); without privileges they stay the caller's.
chown -R 375:375 "$base" "$DEVROOT"/var/lib/buxton2 2>/dev/null || true
