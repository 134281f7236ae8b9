package pdalink;

import com.google.gson.Gson;
import com.google.gson.JsonObject;
import com.sun.jna.Function;
import com.sun.jna.Memory;
import com.sun.jna.NativeLibrary;
import com.sun.jna.ptr.IntByReference;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.Map;

/** libpdalink.so in this process, for the requests that have a code. Any number of threads may use it. */
public final class Library {
    private static final int RESPONSE_SIZE = 128 * 1024; // bytes, which no response exceeds

    private final String path;
    private final Function call;
    private final Memory buffer = new Memory(RESPONSE_SIZE);

    /** Loads the library, until the process ends; its PDAConfigure.ini and its log are in the same directory. */
    public Library(String path) {
        this.path = Path.of(path).toAbsolutePath().normalize().toString(); // by "./" it would look beside java
        try {
            call = NativeLibrary.getInstance(this.path).getFunction("PDA_CommonCall");
        } catch (UnsatisfiedLinkError reason) {
            throw new PdalinkException(this.path + " cannot be used: " + reason.getMessage());
        }
    }

    /**
     * Makes a request, for example request("600005", Map.of("pdaNumber", "00000001")), and returns the response.
     *
     * Throws when there is none: the library refused the request, the message could not be written, or no value came
     * back. A result code of the terminal's is no error, and neither is "000060", which stands for its silence;
     * accepted() makes it one.
     */
    public JsonObject request(String code, Map<String, ?> members) {
        JsonObject request = new Gson().toJsonTree(members).getAsJsonObject();
        request.addProperty("transCode", code);
        JsonObject response = new Gson().fromJson(call(request + "\0"), JsonObject.class);
        if (response == null || response.size() == 0) {
            throw new PdalinkException("the library refused " + code + ": there is no such code, or a member is missing"
                + " or of the wrong type; log/PDA.log beside " + path + " says which");
        }
        if (isEmpty(response)) {
            throw new PdalinkException("nothing came back for " + code + ", or it could not be sent; 'pdactl doctor'"
                + " and log/PDA.log beside " + path + " say why");
        }
        return response;
    }

    /** The response itself if the terminal accepted the request; otherwise throws with its result code. */
    public static JsonObject accepted(JsonObject response) {
        String code = value(response, "pRetCode", value(response, "retCode", "000000"));
        String state = value(response, "pScanState", code); // where 600009 has the terminal's silence
        if (!code.equals("000000") || state.equals("000060")) {
            throw new PdalinkException("the terminal did not accept the request: result code '" + state + "'");
        }
        return response;
    }

    static boolean isEmpty(JsonObject response) {
        return response.keySet().stream().allMatch(name ->
            name.equals("transCode") || value(response, name, "").matches("0?"));
    }

    private static String value(JsonObject response, String name, String otherwise) {
        return response.has(name) ? response.get(name).getAsString() : otherwise;
    }

    private String call(String request) {
        byte[] bytes = request.getBytes(StandardCharsets.UTF_8);
        IntByReference length = new IntByReference(0);
        synchronized (Library.class) { // the library's state is the process's
            call.invokeInt(new Object[] {bytes, bytes.length - 1, buffer, length});
            return new String(buffer.getByteArray(0, length.getValue()), StandardCharsets.UTF_8);
        }
    }
}
