// SPDX-License-Identifier: Apache-2.0
#include "bench/cluster_file.h"

std::string cluster_file(int nodes, int networks) {
    std::string text = "[cluster]\nlocal_node = 0\nmax_nodes = " + std::to_string(nodes) +
                       "\nadapters_per_node = " + std::to_string(networks) + "\n";
    for (int network = 0; network < networks; ++network) {
        const std::string number = std::to_string(network);
        text += "[[network]]\nnumber = " + number + "\nname = \"net" + number + "\"\ntype = \"ether\"\n";
    }
    for (int node = 0; node < nodes; ++node) {
        text += "[[node]]\nnumber = " + std::to_string(node) + "\n";
        for (int network = 0; network < networks; ++network) {
            const std::string number = std::to_string(network);
            text += "[[node.adapter]]\nnetwork = " + number + "\naddress = \"10." + number + "." +
                    std::to_string(node / 256) + "." + std::to_string(node % 256) + "\"\ntype = \"eth" +
                    number + "\"\n";
        }
    }
    return text;
}
