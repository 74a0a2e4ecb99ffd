import QtQuick

// A part of the window that its first frame holds nothing of: made in slices from when it may be, or at once when it is
// wanted.
Loader {
    id: loader

    required property url part
    // What the part is made with.
    property var properties: ({})
    // Whether it may be made.
    property bool due: false
    // Whether something in this turn needs it.
    property bool wanted: false
    readonly property bool ready: status === Loader.Ready

    // The part, made if it isn't yet.
    function now(): QtObject {
        wanted = true
        return item
    }
    function begin() {
        if (wanted && asynchronous) {
            // What was begun in slices is begun anew: hurried, it would forget what it is made with.
            if (status === Loader.Loading) source = ""
            asynchronous = false
        }
        if ((due || wanted) && status === Loader.Null) setSource(part, properties)
    }

    asynchronous: true
    onDueChanged: begin()
    onWantedChanged: begin()
    Component.onCompleted: begin()
}
