# The resource monitor program: the emulator's stand-in from the build.
mkdir -p "$DEVROOT"/usr/lib/resource-monitor
ln -sf "$BUILD"/resource-monitor "$DEVROOT"/usr/lib/resource-monitor/resource-monitor
