// A host in C#: a 32-bit process on Windows, any on Linux.
//
//     mcs Host.cs && LD_LIBRARY_PATH=FOLDER-OF-THE-LIBRARY mono Host.exe
//
// The library also writes its log to standard output.
using System;
using System.Runtime.InteropServices;
using System.Threading;

/// The functions as a .NET host likes them: a failure is an exception, a text is a string of its own, and threads
/// wait for each other. The library is one for the process, so this is too.
static class HwProbe {
    // libOrvane_HwProbe.so or Orvane_HwProbe.dll, found as the system finds libraries.
    const string Library = "Orvane_HwProbe";
    static readonly object OneAtATime = new object();

    // A text comes as a pointer. Declared as a string it would be freed after the call, and it is the library's.
    static class Native {
        const CallingConvention C = CallingConvention.Cdecl;
        [DllImport(Library, CallingConvention = C)] public static extern double getCpuLoad();
        [DllImport(Library, CallingConvention = C)] public static extern double getCpuTemperature();
        [DllImport(Library, CallingConvention = C)] public static extern double getCpuFrequency();
        [DllImport(Library, CallingConvention = C)] public static extern int getCpuBaseFrequency();
        [DllImport(Library, CallingConvention = C)] public static extern double getGpuLoad();
        [DllImport(Library, CallingConvention = C)] public static extern double getGpuTemperature();
        [DllImport(Library, CallingConvention = C)] public static extern int getMemoryLoad();
        [DllImport(Library, CallingConvention = C)] public static extern IntPtr getMemoryManufacturerAndModel();
        [DllImport(Library, CallingConvention = C)] public static extern int initDisk();
        [DllImport(Library, CallingConvention = C)] public static extern IntPtr getAllDiskType();
        [DllImport(Library, CallingConvention = C)] public static extern double getDiskTemperature(uint index);
        [DllImport(Library, CallingConvention = C)] public static extern IntPtr getDiskReadWriteSpeed(uint index);
        [DllImport(Library, CallingConvention = C)] public static extern IntPtr getDiskNameWhichOsInstalled();
        [DllImport(Library, CallingConvention = C)] public static extern int initBattery();
        [DllImport(Library, CallingConvention = C)] public static extern IntPtr getBatteryAllMessage(uint index);
        [DllImport(Library, CallingConvention = C)] public static extern IntPtr getNetCardMessage();
        [DllImport(Library, CallingConvention = C)] public static extern IntPtr getNetCurrentSpeed();
        [DllImport(Library, CallingConvention = C)] public static extern void releaseRing0();
        [DllImport(Library, CallingConvention = C)] public static extern IntPtr getLastError();
    }

    static double Number(Func<double> call) {
        lock (OneAtATime) {
            double value = call();
            if (value == -1) throw new InvalidOperationException(Marshal.PtrToStringUTF8(Native.getLastError()));
            return value;
        }
    }

    // A text tells its failure itself.
    static string Text(Func<IntPtr> call) {
        lock (OneAtATime) return Marshal.PtrToStringUTF8(call());
    }

    public static double CpuLoad() { return Number(Native.getCpuLoad); }
    public static double CpuTemperature() { return Number(Native.getCpuTemperature); }
    public static double CpuFrequency() { return Number(Native.getCpuFrequency); }
    public static double CpuBaseFrequency() { return Number(() => Native.getCpuBaseFrequency()); }
    public static double GpuLoad() { return Number(Native.getGpuLoad); }
    public static double GpuTemperature() { return Number(Native.getGpuTemperature); }
    public static double MemoryLoad() { return Number(() => Native.getMemoryLoad()); }
    public static string MemoryModules() { return Text(Native.getMemoryManufacturerAndModel); }
    public static double FindDisks() { return Number(() => Native.initDisk()); }
    public static string DiskTypes() { return Text(Native.getAllDiskType); }
    public static double DiskTemperature(uint disk) { return Number(() => Native.getDiskTemperature(disk)); }
    public static string DiskSpeed(uint disk) { return Text(() => Native.getDiskReadWriteSpeed(disk)); }
    public static string SystemDisk() { return Text(Native.getDiskNameWhichOsInstalled); }
    public static double FindBatteries() { return Number(() => Native.initBattery()); }
    public static string Battery(uint battery) { return Text(() => Native.getBatteryAllMessage(battery)); }
    public static string NetworkCards() { return Text(Native.getNetCardMessage); }
    public static string NetworkSpeed() { return Text(Native.getNetCurrentSpeed); }
    public static void Release() { lock (OneAtATime) Native.releaseRing0(); }
}

static class Host {
    /// Prints what `read` gives, or why it gives nothing, and gives it.
    static T Show<T>(string name, string unit, Func<T> read) {
        T value = default(T);
        string told;
        try {
            value = read();
            told = FormattableString.Invariant($"{value} {unit}");
        } catch (InvalidOperationException failure) {
            told = "failed: " + failure.Message;
        }
        Console.WriteLine(name + ": " + told);
        return value;
    }

    static void ShowMoving() {
        Show("getCpuLoad", "of 1", HwProbe.CpuLoad);
        Show("getCpuFrequency", "MHz", HwProbe.CpuFrequency);
        Show("getMemoryLoad", "percent", HwProbe.MemoryLoad);
        Show("getNetCurrentSpeed", "", HwProbe.NetworkSpeed);
    }

    static void ShowAll() {
        ShowMoving();
        Thread.Sleep(1000); // loads and rates tell what happened between two calls
        ShowMoving();
        Show("getCpuTemperature", "degrees Celsius", HwProbe.CpuTemperature);
        Show("getCpuBaseFrequency", "MHz", HwProbe.CpuBaseFrequency);
        Show("getGpuLoad", "of 1", HwProbe.GpuLoad);
        Show("getGpuTemperature", "degrees Celsius", HwProbe.GpuTemperature);
        Show("getMemoryManufacturerAndModel", "", HwProbe.MemoryModules);
        double disks = Show("initDisk", "drives", HwProbe.FindDisks);
        for (uint disk = 0; disk < disks; ++disk) {
            uint index = disk;
            Show("getDiskTemperature", "degrees Celsius", () => HwProbe.DiskTemperature(index));
            Show("getDiskReadWriteSpeed", "", () => HwProbe.DiskSpeed(index));
        }
        Show("getAllDiskType", "", HwProbe.DiskTypes);
        Show("getDiskNameWhichOsInstalled", "", HwProbe.SystemDisk);
        double batteries = Show("initBattery", "batteries", HwProbe.FindBatteries);
        for (uint battery = 0; battery < batteries; ++battery) {
            uint index = battery;
            Show("getBatteryAllMessage", "", () => HwProbe.Battery(index));
        }
        Show("getNetCardMessage", "", HwProbe.NetworkCards);
        HwProbe.Release();
    }

    static int Main() {
        try {
            ShowAll();
            return 0;
        } catch (DllNotFoundException missing) {
            Console.Error.WriteLine(missing.Message + " cannot be loaded");
            return 1;
        }
    }
}
