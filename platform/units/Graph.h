#pragma once

#include "BRAQAudio/platform/graphs.h"

#include <mutex>
#include <optional>
#include <vector>

namespace braq {

/// Units and their connections. The results are those of the C functions. Any thread but an I/O thread.
class Graph {
  public:
    Graph() = default;
    ~Graph();
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;

    OSStatus open();
    OSStatus close();
    OSStatus addNode(const AudioComponentDescription& description, AUNode* node);
    OSStatus nodeInfo(AUNode number, AudioComponentDescription* description, AudioUnit* unit);
    OSStatus connect(AUNode source, UInt32 sourceOutput, AUNode destination, UInt32 destinationInput);
    OSStatus initialize();
    OSStatus uninitialize();
    OSStatus start();
    OSStatus stop();

  private:
    struct Node {
        AUNode number;
        AudioComponentDescription description;
        AudioUnit unit = nullptr; // in an open graph
    };
    struct Connection {
        AUNode source;
        UInt32 sourceOutput;
        AUNode destination;
        UInt32 destinationInput;
    };

    // All of these: under mMutex.
    Node* find(AUNode number);
    Node* outputNode();
    bool leadsTo(AUNode from, AUNode to) const;
    std::vector<Node*> inOrderOfConnections();
    OSStatus applyConnections();
    OSStatus uninitializeNodes();
    OSStatus closeNodes();

    std::mutex mMutex;
    std::vector<Node> mNodes;
    std::vector<Connection> mConnections;
    AUNode mLastNode = 0;
    bool mIsOpen = false;
    bool mIsInitialized = false;
};

} // namespace braq
