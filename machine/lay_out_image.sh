#!/bin/bash
# Run by image.py in the middle of making a Debian system: lay_out_image.sh ROOT. Makes it one that
# QEMU boots, and puts the packages that a user installs later into a folder of it.
# KERNEL, MODULES, CONSOLE and PACKAGES come from image.py.
set -euo pipefail
root=$1
# No services are started, and all is needed without a question.
in_root() { DEBIAN_FRONTEND=noninteractive chroot "$root" "$@"; }

# The kernel is unpacked and not installed: installing makes an initial RAM disk of all drivers, which
# takes an emulated machine longer to load than everything else together.
version=$(in_root apt-cache depends "$KERNEL" | sed -n 's/^ *Depends: linux-image-//p' | head -n 1)
(cd "$root/tmp" && in_root sh -c "cd /tmp && apt-get -qq download linux-image-$version")
dpkg-deb --extract "$root"/tmp/linux-image-*.deb "$root/tmp/kernel"
source=$root/tmp/kernel/lib/modules
version=$(ls "$source")
depmod -b "$root/tmp/kernel" "$version"
for module in $MODULES; do
  modprobe -d "$root/tmp/kernel" -S "$version" --show-depends "$module"
done | sed -n 's/^insmod \([^ ]*\).*/\1/p' | awk '!seen[$0]++' >"$root/tmp/modules"
while read -r file; do
  target=$root/lib/modules/${file#"$source"/}
  install -D -m 644 "$file" "$target"
  echo "${target#"$root"}"
done <"$root/tmp/modules" >"$root/boot/modules"
cp "$source/$version"/modules.{builtin,builtin.modinfo,order} "$root/lib/modules/$version"
depmod -b "$root" "$version"
mv "$root/tmp/kernel/boot/vmlinuz-$version" "$root/boot/vmlinuz"

# What `apt install` finds later, without a network.
# shellcheck disable=SC2086
in_root apt-get -qq install --yes --download-only $PACKAGES >/dev/null
mkdir -p "$root/srv/packages"
mv "$root"/var/cache/apt/archives/*.deb "$root/srv/packages"
(cd "$root/srv/packages" && dpkg-scanpackages --multiversion . 2>/dev/null >Packages)
rm -rf "$root"/var/lib/apt/lists/* "$root"/etc/apt/sources.list.d/* "$root"/tmp/*
echo "deb [trusted=yes] file:/srv/packages ./" >"$root/etc/apt/sources.list"
in_root apt-get -qq update

echo "/dev/vda / ext4 defaults 0 1" >"$root/etc/fstab"
echo logger >"$root/etc/hostname"
echo "127.0.0.1 localhost logger" >"$root/etc/hosts"
echo "::1 localhost" >>"$root/etc/hosts"
in_root passwd --quiet --delete root
mkdir "$root/etc/systemd/system/serial-getty@$CONSOLE.service.d"
cat >"$root/etc/systemd/system/serial-getty@$CONSOLE.service.d/autologin.conf" <<'TEXT'
[Service]
ExecStart=
ExecStart=-/sbin/agetty --autologin root --keep-baud %I $TERM
TEXT
install -m 755 "$(dirname "$0")/power_lines.sh" "$root/usr/local/sbin/power-lines"
cat >"$root/etc/systemd/system/power-lines.service" <<'TEXT'
[Unit]
DefaultDependencies=no
After=local-fs.target
Before=basic.target
[Service]
Type=oneshot
ExecStart=/usr/local/sbin/power-lines
[Install]
WantedBy=sysinit.target
TEXT
in_root systemctl --quiet enable power-lines
# Otherwise the journal grows with each question that a test asks.
mkdir "$root/etc/systemd/system/qemu-guest-agent.service.d"
printf '[Service]\nLogLevelMax=warning\n' >"$root/etc/systemd/system/qemu-guest-agent.service.d/quiet.conf"

# Work in the background that spoils what is measured, and finds nothing to do here.
for unit in apt-daily.timer apt-daily-upgrade.timer dpkg-db-backup.timer e2scrub_all.timer \
  e2scrub_reap.service fstrim.timer getty@tty1.service systemd-timesyncd.service \
  systemd-binfmt.service proc-sys-fs-binfmt_misc.automount; do
  ln -sf /dev/null "$root/etc/systemd/system/$unit"
done
