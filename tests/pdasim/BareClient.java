import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;

/** A host in plain Java for the tests of pdasim: one information request, its reply on standard output. */
class BareClient {
    static final int REPORTS = 4;
    static final int REPORT_SIZE = 64;
    static final long PATIENCE_NANOSECONDS = 10_000_000_000L;

    public static void main(String[] arguments) throws IOException {
        try (RandomAccessFile node = new RandomAccessFile("/dev/hidraw0", "rw")) {
            node.write(request().getBytes(StandardCharsets.US_ASCII));
            StringBuilder reply = new StringBuilder();
            for (int i = 0; i < REPORTS; ++i) {
                reply.append(readReport(node));
            }
            System.out.print(reply);
        }
    }

    static String request() {
        String tags = "<Ex_TrTime>20260102030405</Ex_TrTime><Ex_SeqNo>0001</Ex_SeqNo>";
        String text = "8001QEV   " + "0".repeat(24) + " ".repeat(8) + "05" + tags;
        return String.format("%06d", text.length() + 6) + text;
    }

    /** A read that finds nothing fails at the simulated node, where a real one would wait. */
    static String readReport(RandomAccessFile node) throws IOException {
        byte[] report = new byte[REPORT_SIZE];
        long start = System.nanoTime();
        while (true) {
            try {
                int size = node.read(report);
                return new String(report, 0, size, StandardCharsets.US_ASCII);
            } catch (IOException nothing) {
                if (System.nanoTime() - start > PATIENCE_NANOSECONDS) {
                    throw nothing;
                }
                Thread.yield();
            }
        }
    }
}
