# The storage daemon's configuration, its notification time and a used
# internal storage (/opt) with a USB stick's content below /opt/media.
etc=$DEVROOT/etc/storaged
mkdir -p "$etc" "$DEVROOT"/mnt/systemrw

conf() {  # MODE WARNING CRITICAL FULL UNIT
    cat <<CONF
# storaged: low storage monitoring of internal storage (/opt/usr)
#
# Levels are the free space left, $5.
# Changing this file takes effect when storaged restarts.

[LOWSTORAGE]
MODE=$1
WARNING_LEVEL=$2
CRITICAL_LEVEL=$3
FULL_LEVEL=$4
# Seconds between two low storage pop-ups while the level lasts
NOTIFY_INTERVAL=3600

[CLEANUP]
# Remove caches and temporary files when the critical level is reached
ENABLE=1
CACHE_DIR=/opt/usr/home/owner/share/.cache
TEMP_DIR=/opt/usr/home/owner/share/tmp

[EXTERNAL]
MOUNT_BASE=/opt/media
CONF
}
conf RELATIVE 5 2 1 "in percent of the total" > "$etc"/storage_rel.conf
conf ABSOLUTE 500 200 50 "in MB" > "$etc"/storage_abs.conf
cp "$etc"/storage_rel.conf "$etc"/storage.conf

# Last low storage pop-up: 2023-11-14 22:13:20 UTC, 32 bits, little-endian.
printf '\000\361\123\145' > "$DEVROOT"/mnt/systemrw/storaged_notify

# Internal storage in use.
opt=$DEVROOT/opt
opt_file() {  # PATH SIZE
    mkdir -p "$(dirname "$opt/$1")"
    head -c "$2" /dev/zero | tr '\0' 'x' > "$opt/$1"
}
home=usr/home/owner
opt_file "$home"/media/Images/IMG_20230912_181502.jpg 48213
opt_file "$home"/media/Images/IMG_20230912_181544.jpg 51877
opt_file "$home"/media/Videos/Screen_Recording_001.mp4 262144
opt_file "$home"/media/Downloads/user_manual.pdf 90310
mkdir -p "$opt/$home"/media/Music
opt_file "$home"/apps_rw/org.tizen.browser/data/bookmarks.db 12288
opt_file "$home"/apps_rw/org.tizen.browser/data/history.db 24576
opt_file "$home"/apps_rw/org.tizen.browser/cache/index 4096
opt_file "$home"/share/.cache/thumbnails/3f9a2c.png 7342
mkdir -p "$opt/$home"/share/tmp
ln -sfn media/Images "$opt/$home"/Pictures
opt_file usr/globalapps/org.tizen.tv-viewer/bin/tv-viewer 182400
opt_file usr/globalapps/org.tizen.tv-viewer/res/default.edj 65536
opt_file usr/globalapps/org.tizen.tv-viewer/tizen-manifest.xml 1187
opt_file usr/data/epg/channels.db 40960
opt_file dbspace/.pkgmgr_parser.db 86016
opt_file dbspace/.pkgmgr_parser.db-journal 512
opt_file var/log/storaged.log 3120
opt_file var/log/deviced.log 8841
opt_file etc/dump.d/default.d/dump_system_info.sh 734
opt_file share/crash/.keep 0
ln -sfn ../var/log "$opt"/share/logs

# Content of the stick mounted at /opt/media/USBDriveA1.
opt_file media/USBDriveA1/Movies/holiday.mp4 131072
opt_file media/USBDriveA1/Documents/notes.txt 611
opt_file media/USBDriveA1/README.txt 120
