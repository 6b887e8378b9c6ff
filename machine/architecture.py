"""What differs between the emulated machines."""

import dataclasses


@dataclasses.dataclass(frozen=True)
class Architecture:
    name: str              # as Debian calls it
    kernel: str            # the package that depends on the newest kernel
    image: str             # the kernel's file name, without the version
    interpreter: str       # of qemu-user-static, for the packages' scripts; empty: none needed
    qemu: tuple            # the emulator and the machine
    console: str
    uarts: tuple           # devices for the lines ttyS0 to ttyS2; {} is the character device's name
    gpio: str = ""         # the device of a GPIO chip of the machine's own
    boot_seconds: int = 120


# Bytes reach ttyS1 through a 16550 on every machine. An ARM machine's own console is another
# device, so its first 16550 stays without a line. QEMU's card with two ports is of no use: saving
# its state ends QEMU 7.2.
PCI_UARTS = tuple(f"pci-serial,chardev=uart{line}" for line in range(3))

ARCHITECTURES = {
    machine.name: machine for machine in (
        Architecture("amd64", "linux-image-amd64", "vmlinuz", "",
                     ("qemu-system-x86_64", "-machine", "pc", "-cpu", "max"), "ttyS0",
                     ("isa-serial,chardev=uart1,index=1", "isa-serial,chardev=uart2,index=2")),
        Architecture("arm64", "linux-image-arm64", "vmlinuz", "aarch64",
                     ("qemu-system-aarch64", "-machine", "virt", "-cpu", "cortex-a53"), "ttyAMA0",
                     PCI_UARTS, "9030000.pl061", 300),
        Architecture("armhf", "linux-image-armmp", "vmlinuz", "arm",
                     ("qemu-system-arm", "-machine", "virt,highmem=off", "-cpu", "cortex-a15"),
                     "ttyAMA0", PCI_UARTS, "9030000.pl061", 300),
    )
}
