"""Stand-ins for what OpenWrt has and a development machine lacks."""
