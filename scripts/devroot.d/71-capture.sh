# Where the capture tool writes its plane files.
mkdir -p "$DEVROOT"/opt/share/display-capture-service
