# The resource monitor program: the emulator's stand-in from the build,
# through the build's launcher (a cross build's monitor runs emulated).
mkdir -p "$DEVROOT"/usr/lib/resource-monitor
printf '#!/bin/sh\nexec "%s" "%s" "$@"\n' "$BUILD/launcher" "$BUILD/resource-monitor" \
    > "$DEVROOT"/usr/lib/resource-monitor/resource-monitor
chmod 755 "$DEVROOT"/usr/lib/resource-monitor/resource-monitor
