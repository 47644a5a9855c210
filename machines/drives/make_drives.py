#!/usr/bin/env python3
"""Writes the sample blocks of this folder: what drives of different dialects answer, made by hand.

make_drives.py [FOLDER]   writes NAME.identify, NAME.smart and, for ATA drives, NAME.thresholds; FOLDER is the
                          script's own without one. The blocks are raw, as `hwprobe explain` reads them.
"""
import struct
import sys
from pathlib import Path


def check_summed(block):
    block[511] = -sum(block[:511]) & 0xFF
    return bytes(block)


def swapped(text, length):
    raw = text.encode().ljust(length)
    return b"".join(raw[i + 1:i + 2] + raw[i:i + 1] for i in range(0, length, 2))


def identify(model, firmware, serial, sectors, words=()):
    """IDENTIFY DEVICE of a drive of the ACS-3 age on a Serial ATA link of 6 Gbit/s."""
    block = bytearray(512)
    block[20:40], block[46:54], block[54:94] = swapped(serial, 20), swapped(firmware, 8), swapped(model, 40)
    put = {1: 16383, 3: 16, 6: 63, 60: min(sectors, 0x0FFFFFFF) & 0xFFFF, 61: min(sectors, 0x0FFFFFFF) >> 16,
           63: 0x0007, 76: 0x010E, 77: 0x0006, 80: 0x07F0, 81: 0x011B, 82: 0x0001, 83: 0x0408, 86: 0x0008,
           88: 0x407F, 100: sectors & 0xFFFF, 101: sectors >> 16 & 0xFFFF, 102: sectors >> 32, 106: 0x6003}
    put.update(words)
    for number, value in put.items():
        struct.pack_into("<H", block, number * 2, value)
    block[510] = 0xA5
    return check_summed(block)


SSD = {168: 3, 169: 1, 217: 1}  # 2.5 inch, TRIM, no rotation


def disk(inches_code, rpm):
    return {168: inches_code, 217: rpm}


# Bit 0 marks what tells of a failure to come; makers mark these.
FLAGS = dict.fromkeys((1, 3, 5, 7, 10), 0x33)


def smart(*attributes):
    """SMART READ DATA of (id, current, worst, raw)."""
    block = bytearray(512)
    struct.pack_into("<H", block, 0, 16)
    for i, (number, current, worst, raw) in enumerate(attributes):
        struct.pack_into("<BHBB6s", block, 2 + 12 * i, number, FLAGS.get(number, 0x32), current, worst, raw.to_bytes(6, "little"))
    return check_summed(block)


def thresholds(**values):
    block = bytearray(512)
    struct.pack_into("<H", block, 0, 16)
    for i, (name, value) in enumerate(values.items()):
        struct.pack_into("<BB", block, 2 + 12 * i, int(name[1:]), value)
    return check_summed(block)


def nvme_identify(model, firmware, serial, capacity=0):
    block = bytearray(4096)
    struct.pack_into("<HH20s40s8s", block, 0, 0x1C5C, 0x1C5C, serial.encode().ljust(20), model.encode().ljust(40),
                     firmware.encode().ljust(8))
    struct.pack_into("<I", block, 80, 0x00010400)  # 1.4
    struct.pack_into("<Q", block, 280, capacity)  # bytes; a drive may tell none
    block[520], block[525] = 0x5F, 0x07
    return bytes(block)


def nvme_health(celsius, spare, threshold, used, read, written, cycles, hours, warning=0):
    block = bytearray(512)
    struct.pack_into("<BHBBB", block, 0, warning, celsius + 273, spare, threshold, used)
    for at, value in ((32, read), (48, written), (64, read * 40), (80, written * 40), (112, cycles), (128, hours),
                      (144, 12)):
        struct.pack_into("<Q", block, at, value)
    return bytes(block)


TB = 1953525168  # sectors
HALF_TB = 976773168
QUARTER_TB = 500118192
EIGHTH_TB = 234441648

DRIVES = {
    # A hard disk with pending sectors; 42 degrees with the lowest and highest beside them in the raw value.
    "hard-disk": (
        identify("WDC WD10EZEX-08WN4A0", "01.01A01", "WD-WCC6Y1ABCDEF", TB, disk(2, 7200)),
        smart((1, 200, 200, 0), (3, 172, 171, 2383), (4, 99, 99, 1264), (5, 200, 200, 0), (7, 200, 200, 0),
              (9, 71, 71, 21543), (10, 100, 100, 0), (12, 99, 99, 1207), (192, 200, 200, 64), (193, 200, 200, 1199),
              (194, 101, 92, 42), (196, 200, 200, 0), (197, 200, 200, 3), (198, 200, 200, 0), (199, 200, 200, 0)),
        thresholds(_1=51, _3=21, _4=0, _5=140, _7=0, _9=0, _10=0, _12=0, _192=0, _193=0, _194=0, _196=0, _197=0,
                   _198=0, _199=0)),
    # A hard disk that fails: spin-up retries below the threshold.
    "hard-disk-failing": (
        identify("ST2000DM008-2FR102", "0001", "ZFL0ABCD", 2 * TB, disk(2, 7200)),
        smart((1, 79, 63, 84552011), (3, 97, 95, 0), (4, 100, 100, 912), (5, 1, 1, 65528), (7, 80, 60, 97011231),
              (9, 78, 78, 19877), (10, 96, 96, 5), (12, 100, 100, 908), (190, 62, 48, 38), (194, 38, 52, 38),
              (197, 88, 88, 2104), (198, 88, 88, 2104), (199, 200, 200, 0)),
        thresholds(_1=6, _3=0, _4=20, _5=10, _7=45, _9=0, _10=97, _12=20, _190=40, _194=0, _197=0, _198=0, _199=0)),
    # Known by its attribute ids alone: the model has neither of the maker's marks.
    "samsung-860-evo": (
        identify("Samsung SSD 860 EVO 500GB", "RVT04B6Q", "S3Z8NB0K123456X", HALF_TB, SSD),
        smart((5, 100, 100, 0), (9, 97, 97, 11873), (12, 99, 99, 622), (177, 94, 94, 117), (179, 100, 100, 0),
              (181, 100, 100, 0), (182, 100, 100, 0), (183, 100, 100, 0), (187, 100, 100, 0), (190, 68, 46, 32),
              (195, 200, 200, 0), (199, 100, 100, 0), (235, 99, 99, 45), (241, 99, 99, 59301846221)),
        thresholds(_5=10, _9=0, _12=0, _177=0, _179=10, _181=10, _182=10, _183=10, _187=0, _190=0, _195=0, _199=0,
                   _235=0, _241=0)),
    # Its firmware makes it a drive of the newer dialect: units of 32 MiB, life in 202.
    "crucial-mx500": (
        identify("CT500MX500SSD1", "M3CR046", "2117E59ABCDE", HALF_TB, SSD),
        smart((1, 100, 100, 0), (5, 100, 100, 0), (9, 100, 100, 8423), (12, 100, 100, 211), (171, 100, 100, 0),
              (172, 100, 100, 0), (173, 97, 97, 54), (174, 100, 100, 31), (180, 0, 0, 29), (183, 100, 100, 0),
              (184, 100, 100, 0), (187, 100, 100, 0), (194, 69, 45, 0x00370014001F), (196, 100, 100, 0),
              (197, 100, 100, 0), (198, 100, 100, 0), (199, 100, 100, 2), (202, 97, 97, 3), (206, 100, 100, 0),
              (210, 100, 100, 0), (246, 100, 100, 20401094656), (247, 100, 100, 329000121),
              (248, 100, 100, 181220977)),
        thresholds(_1=0, _5=10, _202=1)),
    # The life attribute's raw value counts for this firmware.
    "kingston-a400": (
        identify("KINGSTON SA400S37240G", "S1Z40102", "50026B7780ABCDEF", 468862128, SSD),
        smart((1, 100, 100, 100), (9, 100, 100, 6104), (12, 100, 100, 903), (148, 100, 100, 0), (149, 100, 100, 0),
              (167, 100, 100, 0), (168, 100, 100, 0), (169, 100, 100, 19), (170, 100, 100, 5), (172, 100, 100, 0),
              (173, 100, 100, 0), (181, 100, 100, 0), (182, 100, 100, 0), (187, 100, 100, 0), (192, 100, 100, 44),
              (194, 73, 57, 27), (196, 100, 100, 0), (199, 100, 100, 0), (218, 100, 100, 0), (231, 88, 88, 88),
              (233, 100, 100, 7344), (241, 100, 100, 5120), (242, 100, 100, 4011), (244, 100, 100, 98)),
        thresholds(_1=0, _231=10)),
    # Sectors of 512 bytes; the life stands in the high byte of 230, and 175 in the fourth place makes it Dell's.
    "sandisk-x400-dell": (
        identify("SanDisk X400 2.5 7MM 256GB", "X4152012", "161234567890", QUARTER_TB, SSD),
        smart((5, 100, 100, 0), (9, 100, 100, 14220), (12, 100, 100, 1841), (175, 100, 100, 0), (187, 100, 100, 0),
              (194, 66, 40, 34), (199, 100, 100, 0), (230, 100, 100, 0x0602), (232, 100, 100, 100),
              (233, 100, 100, 9121), (241, 100, 100, 13422002176), (242, 100, 100, 21002002432)),
        thresholds(_5=0, _232=4)),
    # Hours behind an offset, as the model's ending tells; reads and writes in units of 32 MiB.
    "intel-520": (
        identify("INTEL SSDSC2CW120A3", "400i", "CVCV12345678120BGN", EIGHTH_TB, {**SSD, 80: 0x01F8, 81: 0xFFFF}),
        smart((5, 100, 100, 0), (9, 0, 0, 894803 + 7311), (12, 100, 100, 2219), (170, 100, 100, 0),
              (171, 100, 100, 0), (172, 100, 100, 0), (174, 100, 100, 103), (184, 100, 100, 0), (187, 120, 120, 0),
              (192, 100, 100, 103), (225, 100, 100, 311744), (226, 100, 100, 65535), (227, 100, 100, 38),
              (228, 100, 100, 65535), (232, 100, 100, 0), (233, 92, 92, 0), (241, 100, 100, 311744),
              (242, 100, 100, 192064), (249, 100, 100, 12210)),
        thresholds(_5=0, _184=90, _232=10, _233=0)),
    # No maker in the model: the attribute ids are the controller's.
    "silicon-motion": (
        identify("ACME SSD 128GB", "Q0526A0", "AA00000000000412", 250069680, SSD),
        smart((1, 100, 100, 0), (5, 100, 100, 0), (9, 100, 100, 3312), (12, 100, 100, 478), (160, 100, 100, 0),
              (161, 100, 100, 62), (163, 100, 100, 8), (164, 100, 100, 18833), (165, 100, 100, 61),
              (166, 100, 100, 12), (167, 100, 100, 35), (168, 100, 100, 1500), (169, 100, 100, 98),
              (175, 100, 100, 0), (192, 100, 100, 29), (194, 100, 100, 33), (195, 100, 100, 0), (196, 100, 100, 0),
              (197, 100, 100, 0), (198, 100, 100, 0), (199, 100, 100, 0), (232, 100, 100, 100),
              (241, 100, 100, 147200), (242, 100, 100, 98112), (245, 100, 100, 301328)),
        thresholds(_1=50, _5=50, _169=50)),
    # Of the ATA-6 age on a parallel link; it tells neither its size in inches nor its speed.
    "parallel-disk": (
        identify("WDC WD800JB-00JJC0", "05.01C05", "WD-WCAM91234567", 156301488,
                 {76: 0, 77: 0, 80: 0x007E, 81: 0x0000, 88: 0x203F, 93: 0x600B, 106: 0}),
        smart((1, 200, 200, 0), (3, 97, 89, 4858), (4, 97, 97, 3211), (5, 200, 200, 0), (7, 200, 200, 0),
              (9, 44, 44, 41377), (10, 100, 100, 0), (11, 100, 100, 0), (12, 97, 97, 3102), (194, 109, 91, 34),
              (196, 200, 200, 0), (197, 200, 200, 0), (198, 200, 200, 0), (199, 200, 253, 4), (200, 200, 200, 0)),
        thresholds(_1=51, _3=21, _4=40, _5=140, _7=51, _9=0, _10=51, _11=51, _12=0, _194=0, _196=0, _197=0, _198=0,
                   _199=0, _200=51)),
    "laptop-disk": (
        identify("Hitachi HTS545050A7E380", "GG2OA6C0", "TEB51A3E1ABCDE", HALF_TB, disk(3, 5400)),
        smart((1, 100, 100, 0), (2, 100, 100, 0), (3, 185, 185, 1), (4, 98, 98, 3440), (5, 100, 100, 0),
              (7, 100, 100, 0), (8, 100, 100, 0), (9, 82, 82, 7915), (10, 100, 100, 0), (12, 98, 98, 3398),
              (191, 100, 100, 0), (192, 100, 100, 61), (193, 88, 88, 124411), (194, 157, 157, 0x002F000D0026),
              (196, 100, 100, 0), (197, 100, 100, 0), (198, 100, 100, 0), (199, 200, 200, 0), (223, 100, 100, 0)),
        thresholds(_1=62, _2=40, _3=33, _4=0, _5=5, _7=67, _8=40, _9=0, _10=60, _12=0, _191=0, _192=0, _193=0,
                   _194=0, _196=0, _197=0, _198=0, _199=0, _223=0)),
    "portable-disk": (
        identify("ST2000LM015-2E8174", "0001", "WDZ1ABCD", 2 * TB, disk(3, 5400)),
        smart((1, 82, 64, 156220413), (3, 99, 99, 0), (4, 100, 100, 611), (5, 100, 100, 0), (7, 76, 60, 44210991),
              (9, 98, 98, 2204), (10, 100, 100, 0), (12, 100, 100, 587), (187, 100, 100, 0), (188, 100, 99, 2),
              (190, 69, 52, 31), (191, 100, 100, 14), (192, 100, 100, 40), (193, 98, 98, 4820), (194, 31, 48, 31),
              (197, 100, 100, 0), (198, 100, 100, 0), (199, 200, 200, 0)),
        thresholds(_1=6, _3=0, _4=20, _5=10, _7=45, _9=0, _10=97, _12=20, _187=0, _188=0, _190=40, _191=0, _192=0,
                   _193=0, _194=0, _197=0, _198=0, _199=0)),
    "server-disk": (
        identify("HGST HUH721008ALE600", "T7JF", "7SG12ABC", 8 * TB, disk(2, 7200)),
        smart((1, 100, 100, 0), (2, 132, 132, 96), (3, 184, 184, 0x0001019B01A1), (4, 100, 100, 44), (5, 100, 100, 0),
              (7, 100, 100, 0), (8, 128, 128, 18), (9, 95, 95, 36104), (10, 100, 100, 0), (12, 100, 100, 44),
              (192, 99, 99, 1701), (193, 99, 99, 1701), (194, 171, 171, 0x002D00130023), (196, 100, 100, 0),
              (197, 100, 100, 0), (198, 100, 100, 0), (199, 200, 200, 0)),
        thresholds(_1=16, _2=54, _3=24, _4=0, _5=5, _7=67, _8=20, _9=0, _10=60, _12=0, _192=0, _193=0, _194=0,
                   _196=0, _197=0, _198=0, _199=0)),
    "nvme": (
        nvme_identify("SKHynix_HFS512GDE9X084N", "41010C22", "CN0AN123456789", 512_110_190_592),
        nvme_health(43, 100, 10, 4, 21_302_118, 18_900_771, 1203, 5120)),
    # The spare blocks have run out: below the threshold, and the warning's bit is set.
    "nvme-worn": (
        nvme_identify("ACME NVMe 256", "1.0", "0001"),
        nvme_health(71, 4, 10, 118, 403_000_000, 712_000_000, 91, 30211, warning=1)),
}


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).parent
    folder.mkdir(parents=True, exist_ok=True)
    for name, blocks in DRIVES.items():
        for kind, block in zip(("identify", "smart", "thresholds"), blocks):
            (folder / f"{name}.{kind}").write_bytes(block)
    print(f"{len(DRIVES)} drives in {folder}")


if __name__ == "__main__":
    main()
