import com.google.gson.Gson;
import com.google.gson.JsonArray;
import com.google.gson.JsonElement;
import com.google.gson.JsonObject;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.stream.IntStream;
import pdalink.Library;
import pdalink.PdalinkException;
import pdalink.Server;

/** Tests of the Java binding, to which "pdasim run" gives a terminal: CLASS LIBRARY PDACTL PDASIM REQUESTS. */
class PdalinkTest {
    interface Body<T> {
        T run() throws Exception;
    }

    interface Requests {
        JsonObject request(String code, Map<String, ?> members) throws Exception;
    }

    static String pdactl;
    static String pdasim;
    static Path requests;

    public static void main(String[] arguments) throws Exception {
        pdactl = arguments[2];
        pdasim = arguments[3];
        requests = Path.of(arguments[4]);
        if (arguments[0].equals("Library")) {
            testLibrary(new Library(arguments[1]));
        } else {
            testServer();
        }
    }

    static void testLibrary(Library library) throws Exception {
        expectEachCodeToBeAnswered(library::request);
        // threads take turns
        boolean areAccepted = IntStream.range(0, 8).parallel().mapToObj(number -> library.request(
                "600012", Map.of("pdaNumber", "00000001", "pKey", "00", "CheckVal", "" + number)))
            .allMatch(response -> text(response, "pRetCode").equals("000000"));
        expect(true, areAccepted);
        // result codes are errors only when asked
        for (String[] each : new String[][] {{"REFUSE", "000099"}, {"SILENT", "000060"}}) {
            JsonObject response = library.request("600006",
                Map.of("pdaNumber", "00000001", "pTaskID", "T-" + each[0], "pTotal", 1, "pLabelList", "A;"));
            expect(each[1], text(response, "pRetCode"));
            expectError(each[1], () -> Library.accepted(response));
        }
        Map<String, String> silent = Map.of("pdaNumber", "00000001", "pTaskID", "T-SILENT");
        expectError("000060", () -> Library.accepted(library.request("600009", silent)));
        // what is no response is an error
        expectError("refused 600099", () -> library.request("600099", Map.of()));
        expectError("refused 600001", () -> library.request("600001", Map.of("pdaNumber", "1", "pFactory", 1)));
        expectError("nothing came back for 600011", () -> library.request("600011", silent));
        atTheTerminal("unplug");
        expectError("600002, or it could not be sent", () -> library.request("600002", Map.of()));
        expectError("/no/such.so cannot be used", () -> new Library("/no/such.so"));
        expectError("PDA_CommonCall", () -> new Library(System.getProperty("java.home") + "/lib/libjava.so"));
    }

    static void testServer() throws Exception {
        Server server = new Server(pdactl, "serve", "--answer-login", "000000");
        expectEachCodeToBeAnswered(server::request);
        // a lock opens
        Library.accepted(server.call("ReqOpenLock",
            Map.of("lockIds", "LOCK-1;", "oneTimeCodes", "123456;", "usersA", "a;", "usersB", "b;")));
        expect("00;", text(server.call("ReadLockRes", Map.of()), "results"));
        // files by their paths
        Path fetched = Files.createTempDirectory("pdalink").resolve("fetched");
        Library.accepted(server.request("600016", Map.of("pCmdEx", 9, "file", fetched.toString())));
        expect("\n\u000B\f\r\u000E", Files.readString(fetched));
        Files.delete(fetched);
        Files.delete(fetched.getParent());
        // events
        expect(false, server.event(Duration.ZERO).isPresent());
        atTheTerminal("scan", "A1");
        JsonObject event = server.event(Duration.ofMinutes(1)).get();
        expect("A1", text(event.getAsJsonObject("fields"), "label"));
        // errors
        JsonObject unknown = server.call("GetLockInfo", Map.of("lockId", "LOCK-9"));
        expect("000006", text(unknown, "retCode"));
        expectError("000006", () -> Library.accepted(unknown));
        expectError("no such code", () -> server.request("600099", Map.of()));
        expectError("no usable reply", () -> server.call("GetLockInfo", Map.of("lockId", "L-SILENT")));
        Server ending = new Server("echo", "{\"exitCode\": 1, \"message\": \"why it ends\"}");
        expectError("why it ends", () -> ending.request("600002", Map.of()));
        expectError("/no/such", () -> new Server("/no/such"));
        server.close();
        expectError("has ended", () -> server.request("600002", Map.of()));
        expectError("has ended", () -> server.event(Duration.ofMinutes(1)));
    }

    static void expectEachCodeToBeAnswered(Requests host) throws Exception {
        for (JsonElement each : new Gson().fromJson(Files.readString(requests), JsonArray.class)) {
            JsonObject row = each.getAsJsonObject();
            Map<String, Object> members = new TreeMap<>();
            row.getAsJsonObject("members").entrySet().forEach(member -> members.put(member.getKey(), member.getValue()));
            JsonObject response = Library.accepted(host.request(text(row, "code"), members));
            response.remove("transCode");
            response.entrySet().removeIf(member -> member.getValue().getAsString().matches("0?")
                && !row.getAsJsonObject("response").has(member.getKey()));
            expect(row.get("response"), response);
        }
    }

    static void atTheTerminal(String... words) throws Exception {
        List<String> command = new ArrayList<>(List.of(pdasim, "ctl"));
        command.addAll(List.of(words));
        expect(0, new ProcessBuilder(command).start().waitFor());
    }

    static String text(JsonObject object, String name) {
        return object.get(name).getAsString();
    }

    static void expect(Object expected, Object found) {
        if (!expected.equals(found)) {
            throw new AssertionError("expected: " + expected + "\nfound:    " + found);
        }
    }

    static void expectError(String text, Body<?> body) throws Exception {
        try {
            body.run();
        } catch (PdalinkException error) {
            expect(text, error.getMessage().contains(text) ? text : error.getMessage());
            return;
        }
        throw new AssertionError("no error: " + text);
    }
}
