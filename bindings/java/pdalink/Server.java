package pdalink;

import com.google.gson.Gson;
import com.google.gson.JsonObject;
import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.time.Duration;
import java.util.Map;
import java.util.Optional;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;

/** A client of "pdactl serve", for all that a host can do. Any number of threads may use it. */
public final class Server implements AutoCloseable {
    private static final JsonObject END = new JsonObject();

    private final Process process;
    private final PrintStream requests; // does not throw when the process has ended, which the answers tell
    private final BlockingQueue<JsonObject> answers = new LinkedBlockingQueue<>();
    private final BlockingQueue<JsonObject> events = new LinkedBlockingQueue<>();
    private int id = 0;

    /** Starts a command, such as "pdactl", "serve", whose standard input and output are those of pdactl serve. */
    public Server(String... command) {
        try {
            process = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.INHERIT).start();
        } catch (IOException reason) {
            throw new PdalinkException(reason.getMessage());
        }
        requests = new PrintStream(process.getOutputStream(), true, StandardCharsets.UTF_8);
        Thread reader = new Thread(this::read);
        reader.setDaemon(true);
        reader.start();
    }

    /** Makes a request as Library does. 600015 and 600016 may have a file's path, "file", instead of its digits. */
    public JsonObject request(String code, Map<String, ?> members) throws InterruptedException {
        return ask("transCode", code, members);
    }

    /** Calls a member that has no code, for example call("GetLockInfo", Map.of("lockId", "L1")); returns its outputs. */
    public JsonObject call(String member, Map<String, ?> parameters) throws InterruptedException {
        return ask("call", member, parameters);
    }

    /** The next message that the terminal started; empty when none comes in time. */
    public Optional<JsonObject> event(Duration timeout) throws InterruptedException {
        return Optional.ofNullable(unlessEnded(events, events.poll(timeout.toMillis(), TimeUnit.MILLISECONDS)));
    }

    /** Ends the command, which does first what it has been asked. */
    @Override
    public void close() {
        requests.close();
        process.onExit().join();
    }

    private synchronized JsonObject ask(String kind, String name, Map<String, ?> members) throws InterruptedException {
        JsonObject request = new Gson().toJsonTree(members).getAsJsonObject();
        request.addProperty(kind, name);
        request.addProperty("id", ++id);
        requests.println(request);
        JsonObject answer;
        do { // past those to requests whose wait was interrupted
            answer = unlessEnded(answers, answers.take());
        } while (answer.has("id") && !answer.get("id").isJsonNull() && answer.get("id").getAsInt() != id);
        JsonObject response = answer.getAsJsonObject("response");
        int exitCode = answer.get("exitCode").getAsInt();
        if (exitCode == 0 || (exitCode == 5 || exitCode == 6) && !Library.isEmpty(response)) {
            return response;
        }
        throw new PdalinkException(answer.get("message").getAsString());
    }

    private static JsonObject unlessEnded(BlockingQueue<JsonObject> documents, JsonObject document) {
        if (document == END) {
            documents.add(END); // for whoever asks next
            throw new PdalinkException("pdactl serve has ended; its standard error says why");
        }
        return document;
    }

    private void read() {
        try (BufferedReader lines =
                new BufferedReader(new InputStreamReader(process.getInputStream(), StandardCharsets.UTF_8))) {
            for (String line = lines.readLine(); line != null; line = lines.readLine()) {
                JsonObject document = new Gson().fromJson(line, JsonObject.class);
                (document.has("event") ? events : answers).add(document);
            }
        } catch (IOException gone) {
            // as at its end
        } finally {
            answers.add(END);
            events.add(END);
        }
    }
}
