// A battery that discharges at 12 W, and an unplugged mains adapter, for a board that has neither.
// The fields are those of ACPI 4.0, _BIX and _BST.
DefinitionBlock ("battery.aml", "SSDT", 2, "ORVANE", "BATTERY", 1)
{
    Scope (\_SB)
    {
        Device (BAT0)
        {
            Name (_HID, EisaId ("PNP0C0A"))
            Name (_UID, 1)
            Method (_STA) { Return (0x1F) }
            Name (_BIX, Package ()
            {
                0,              // revision
                0,              // power unit: milliwatts
                50000,          // design capacity
                47500,          // last full charge
                1,              // rechargeable
                11400,          // design voltage
                4750,           // warning
                2375,           // low
                112,            // cycles
                95000,          // accuracy
                500, 500, 1000, 1000, // sampling and averaging times
                10, 10,         // granularities
                "AX-50",        // model
                "4711",         // serial number
                "LION",         // kind
                "Acme"          // maker
            })
            Name (_BST, Package ()
            {
                1,              // discharging
                12000,          // rate
                38210,          // remaining capacity
                11454           // voltage
            })
        }
        Device (ADP0)
        {
            Name (_HID, "ACPI0003")
            Name (_PCL, Package () { \_SB })
            Method (_PSR) { Return (0) }
        }
    }
}
