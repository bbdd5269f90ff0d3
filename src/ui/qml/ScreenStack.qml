import QtQuick
import QtQuick.Layouts

// One screen per section; the selection decides which one shows.
StackLayout {
    id: stack

    required property QtObject shell

    currentIndex: shell.selectionIndex

    Repeater {
        model: stack.shell.sidebarItems

        Loader {
            required property var modelData

            Component.onCompleted: setSource(modelData.screen, {
                "screenModel": stack.shell.screen(modelData.word),
                "shell": stack.shell,
                "title": modelData.label
            })
        }
    }
}
