// What the managed reader of the framework needs for the questions that portable_bench asks: srm FILE.dll... The PDB of
// each image lies beside it or inside it. Prints results as Google Benchmark writes them. The best of all runs counts, of
// which there are so many that the runtime has the time to compile what is hot.
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.IO;
using System.Linq;
using System.Reflection.Metadata;
using System.Reflection.Metadata.Ecma335;
using System.Reflection.PortableExecutable;
using System.Runtime.InteropServices;
using System.Text.Json;

static class Program {
    static readonly List<object> Results = new();
    static long Seen;  // what was read, so that nothing is left out

    static void Main(string[] images) {
        foreach (string image in images)
            Measure(image, Path.GetFileNameWithoutExtension(image));
        Console.WriteLine(JsonSerializer.Serialize(new { benchmarks = Results }, new JsonSerializerOptions { WriteIndented = true }));
    }

    static void Measure(string image, string name) {
        string pdb = Path.ChangeExtension(image, ".pdb");
        if (!File.Exists(pdb)) {
            Time("unpack/" + name, 1, () => {
                using var reader = new PEReader(File.OpenRead(image));
                using var provider = reader.ReadEmbeddedPortablePdbDebugDirectoryData(
                    reader.ReadDebugDirectory().First(entry => entry.Type == DebugDirectoryEntryType.EmbeddedPortablePdb));
                Seen += provider.GetMetadataReader().MetadataLength;
            });
            return;
        }
        Time("load/" + name, 1, () => {
            using var reader = new PEReader(File.OpenRead(image));
            var metadata = reader.GetMetadataReader();
            Seen += metadata.GetGuid(metadata.GetModuleDefinition().Mvid).GetHashCode();
            Seen += reader.ReadDebugDirectory().Length;
            using var provider = MetadataReaderProvider.FromPortablePdbStream(File.OpenRead(pdb));
            Seen += provider.GetMetadataReader().MethodDebugInformation.Count;
        });
        using var opened = MetadataReaderProvider.FromPortablePdbStream(File.OpenRead(pdb), MetadataStreamOptions.PrefetchMetadata);
        var symbols = opened.GetMetadataReader();
        int points = 0;
        foreach (var handle in symbols.MethodDebugInformation)
            points += symbols.GetMethodDebugInformation(handle).GetSequencePoints().Count();
        Time("ranges/" + name, points, () => {
            foreach (var handle in symbols.MethodDebugInformation)
                foreach (var point in symbols.GetMethodDebugInformation(handle).GetSequencePoints())
                    Seen += MetadataTokens.GetRowNumber(point.Document) + point.StartLine + point.StartColumn + point.EndLine + point.EndColumn;
        });
        // The same question: an answer is five columns, and their memory serves the next method again.
        var columns = Enumerable.Range(0, 5).Select(_ => new List<int>()).ToArray();
        Time("kept_ranges/" + name, points, () => {
            foreach (var handle in symbols.MethodDebugInformation) {
                foreach (var column in columns)
                    column.Clear();
                foreach (var point in symbols.GetMethodDebugInformation(handle).GetSequencePoints()) {
                    columns[0].Add(MetadataTokens.GetRowNumber(point.Document));
                    columns[1].Add(point.StartLine);
                    columns[2].Add(point.StartColumn);
                    columns[3].Add(point.EndLine);
                    columns[4].Add(point.EndColumn);
                }
            }
        });
        Time("offsets/" + name, points, () => {
            foreach (var handle in symbols.MethodDebugInformation)
                foreach (var point in symbols.GetMethodDebugInformation(handle).GetSequencePoints())
                    Seen += point.Offset;
        });
        var some = symbols.MethodDebugInformation.First(
            handle => symbols.GetMethodDebugInformation(handle).GetSequencePoints().Count() >= 49);
        const int repetitions = 1000;
        Time("one_method/" + name, 1, () => {
            for (int i = 0; i < repetitions; i++)
                foreach (var point in symbols.GetMethodDebugInformation(some).GetSequencePoints())
                    Seen += MetadataTokens.GetRowNumber(point.Document) + point.StartLine + point.StartColumn + point.EndLine + point.EndColumn;
        }, repetitions);
    }

    [StructLayout(LayoutKind.Sequential)]
    struct Timespec {
        public long Seconds, Nanoseconds;
    }

    [DllImport("libc")]
    static extern int clock_gettime(int clock, out Timespec time);

    // Of this thread, in nanoseconds: what other programs do to the machine is not in it.
    static double ProcessorTime() {
        const int threadProcessorTime = 3;
        clock_gettime(threadProcessorTime, out var time);
        return time.Seconds * 1e9 + time.Nanoseconds;
    }

    static void Time(string name, long items, Action action, int repetitions = 1) {
        TimeSpan enough = TimeSpan.FromSeconds(4);
        double best = double.MaxValue;
        var all = Stopwatch.StartNew();
        for (int run = 0; all.Elapsed < enough || run < 20; run++) {
            double begin = ProcessorTime();
            action();
            best = Math.Min(best, (ProcessorTime() - begin) / repetitions);
        }
        Results.Add(new { name, run_type = "iteration", real_time = best, cpu_time = best, time_unit = "ns", items_per_second = items * 1e9 / best });
    }
}
