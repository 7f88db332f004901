# The device's skeleton: markers, the store's account, the emulator's state.
mkdir -p "$DEVROOT"/etc "$DEVROOT"/opt/usr "$DEVROOT"/opt/media "$DEVROOT"/mnt/systemrw \
         "$DEVROOT"/tmp "$DEVROOT"/var/lib/tv-emulator

# Debug image: the debug marker is there, the performance marker is not.
: > "$DEVROOT"/etc/debug

# The buxton store runs under its own account; the device's account files
# are the machine's with that account added.
cp /etc/passwd "$DEVROOT"/etc/passwd
cp /etc/group "$DEVROOT"/etc/group
grep -q '^buxton:' "$DEVROOT"/etc/group || echo 'buxton:x:375:' >> "$DEVROOT"/etc/group
grep -q '^buxton:' "$DEVROOT"/etc/passwd ||
    echo 'buxton:x:375:375:buxton key-value store:/var/lib/buxton2:/usr/sbin/nologin' >> "$DEVROOT"/etc/passwd

# state.ini: the emulated TV, one fragment per service.
state="$DEVROOT"/var/lib/tv-emulator/state.ini
echo "# The emulated TV. Read afresh at every emulated call; edit it while the menu runs." > "$state"
for ini in "$REPO"/scripts/devroot.d/*.ini; do
    [ -e "$ini" ] || continue
    echo >> "$state"
    cat "$ini" >> "$state"
done

# The USB stick of [usb-device stick] is mounted here.
mkdir -p "$DEVROOT"/opt/media/USBDriveA1
