package pdalink;

/** There is no response that can be used; the message says why. */
public final class PdalinkException extends RuntimeException {
    private static final long serialVersionUID = 1;

    PdalinkException(String message) {
        super(message);
    }
}
