import com.google.gson.JsonObject;
import java.time.Duration;
import java.util.Map;
import pdalink.Library;
import pdalink.Server;

/**
 * Who is the terminal? Opens a lock, and shows three labels that its user scans.
 *
 * pdasim run --user -- java -cp CLASSES:/usr/share/java/jna.jar:/usr/share/java/gson.jar Example
 */
public class Example {
    public static void main(String[] arguments) throws InterruptedException {
        try (Server terminal = new Server("pdactl", "serve")) {
            JsonObject identity = Library.accepted(terminal.request("600002", Map.of()));
            System.out.println("terminal: " + identity.get("pSN").getAsString());

            Library.accepted(terminal.call("ReqOpenLock", Map.of(
                "lockIds", "LOCK-1;", "oneTimeCodes", "123456;", "usersA", "anna;", "usersB", "ben;")));
            JsonObject result = Library.accepted(terminal.call("ReadLockRes", Map.of()));
            System.out.println("opened: " + result.get("lockIds").getAsString());

            Library.accepted(terminal.request("600004", Map.of("pCmdType", "1")));
            for (int i = 0; i < 3; ++i) {
                JsonObject event = terminal.event(Duration.ofMinutes(1)).orElseThrow();
                System.out.println("scanned: " + event.getAsJsonObject("fields").get("label").getAsString());
            }
            Library.accepted(terminal.request("600004", Map.of("pCmdType", "0")));
        }
    }
}
